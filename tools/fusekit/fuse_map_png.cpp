#include "tools/fusekit/fuse_map_png.h"

#include <png.h>

#include <algorithm>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <vector>

namespace fusekit::cli {
namespace {

// A 3x5 font of the characters field names and shapes use (lower case drawn as upper case),
// each glyph five rows of three pixels, '#' set.
struct Glyph {
  char c;
  const char* rows;  // 15 characters, row by row
};
constexpr Glyph kFont[] = {
    {'A', ".#.#.#####.##.#"}, {'B', "##.#.###.#.###."}, {'C', ".###..#..#...##"},
    {'D', "##.#.##.##.###."}, {'E', "####..##.#..###"}, {'F', "####..##.#..#.."},
    {'G', ".###..#.##.#.##"}, {'H', "#.##.#####.##.#"}, {'I', "###.#..#..#.###"},
    {'J', "..#..#..##.#.#."}, {'K', "#.##.###.#.##.#"}, {'L', "#..#..#..#..###"},
    {'M', "#.########.##.#"}, {'N', "##.#.##.##.##.#"}, {'O', ".#.#.##.##.#.#."},
    {'P', "##.#.###.#..#.."}, {'Q', ".#.#.##.###..##"}, {'R', "##.#.###.#.##.#"},
    {'S', ".###...#...###."}, {'T', "###.#..#..#..#."}, {'U', "#.##.##.##.####"},
    {'V', "#.##.##.##.#.#."}, {'W', "#.##.########.#"}, {'X', "#.##.#.#.#.##.#"},
    {'Y', "#.##.#.#..#..#."}, {'Z', "###..#.#.#..###"}, {'0', "####.##.##.####"},
    {'1', ".#.##..#..#.###"}, {'2', "##...#.#.#..###"}, {'3', "##...#.#...###."},
    {'4', "#.##.####..#..#"}, {'5', "####..##...###."}, {'6', ".###..####.####"},
    {'7', "###..#.#..#..#."}, {'8', "####.#####.####"}, {'9', "####.####..###."},
    {'_', "............###"}, {'-', "......###......"}, {'(', ".#.#..#..#...#."},
    {')', ".#...#..#..#.#."}, {',', "..........#.#.."}, {'.', ".............#."},
    {':', "....#.....#...."},
};
constexpr unsigned kFontScale = 2;                // each font pixel drawn 2 x 2
constexpr unsigned kGlyphWidth = 4 * kFontScale;  // 3 pixels and a space
constexpr unsigned kLabelHeight = 5 * kFontScale + 6;
constexpr unsigned kMargin = 8;
constexpr unsigned kGap = 10;  // between blocks

const char* GlyphRows(char c) {
  const char upper = static_cast<char>(c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c);
  for (const Glyph& g : kFont) {
    if (g.c == upper) return g.rows;
  }
  return nullptr;  // a blank
}

bool RowBit(const KvByteBuffer* row, unsigned width, unsigned column) {
  if (row == nullptr || column >= width) return false;
  const unsigned pad = (8 - width % 8) % 8;
  const unsigned p = pad + width - 1 - column;
  return ((row->ReadData(static_cast<int>(p / 8)) >> (7 - p % 8)) & 1u) != 0;
}

std::vector<const SVFDataField*> DrawnFields(const SVFPlusData& data) {
  std::vector<const SVFDataField*> fields;
  for (int f = 0; f < data.GetDataFieldCount(); ++f) {
    const SVFDataField* field = data.GetDataField(f);
    if (field->GetRowCount() > 0 && std::strcmp(field->GetFieldName(), "ID") != 0)
      fields.push_back(field);
  }
  return fields;
}

unsigned WidestRow(const SVFDataField& field) {
  unsigned widest = 0;
  for (int r = 1; r <= field.GetRowCount(); ++r) widest = std::max(widest, field.GetRowWidth(r));
  return widest;
}

std::string LabelOf(const SVFDataField& field) {
  return std::string(field.GetFieldName()) + ": " + std::to_string(field.GetRowCount()) +
         (field.GetRowCount() == 1 ? " row x " : " rows x ") + std::to_string(WidestRow(field));
}

// The geometry of the picture: one scale for every fuse, the blocks one under the other.
struct Layout {
  unsigned scale = 1;
  unsigned width = 0;
  unsigned long long height = 0;
};

Layout LayoutOf(const std::vector<const SVFDataField*>& fields) {
  Layout layout;
  unsigned widest = 1;
  unsigned long long rows = 0;
  std::size_t longest_label = 0;
  for (const SVFDataField* field : fields) {
    widest = std::max(widest, WidestRow(*field));
    rows += static_cast<unsigned long long>(field->GetRowCount());
    longest_label = std::max(longest_label, LabelOf(*field).size());
  }
  layout.scale = std::clamp(512u / widest, 1u, 8u);
  if (rows > 4096) layout.scale = 1;  // large arrays at one pixel a fuse
  layout.width = std::max<unsigned>(widest * layout.scale,
                                    static_cast<unsigned>(longest_label) * kGlyphWidth) +
                 2 * kMargin;
  layout.height = kMargin;
  for (const SVFDataField* field : fields)
    layout.height +=
        kLabelHeight + static_cast<unsigned long long>(field->GetRowCount()) * layout.scale + kGap;
  return layout;
}

void Paint(std::vector<png_byte>& line, unsigned x, unsigned count, unsigned colour) {
  for (unsigned i = 0; i < count; ++i) {
    line[3 * (x + i)] = static_cast<png_byte>(colour >> 16);
    line[3 * (x + i) + 1] = static_cast<png_byte>(colour >> 8);
    line[3 * (x + i) + 2] = static_cast<png_byte>(colour);
  }
}

struct PngWriter {
  std::FILE* file = nullptr;
  png_structp png = nullptr;
  png_infop info = nullptr;
  ~PngWriter() {
    if (png != nullptr) png_destroy_write_struct(&png, info != nullptr ? &info : nullptr);
    if (file != nullptr) std::fclose(file);
  }
};

}  // namespace

FusePlace PlaceOfFuse(const SVFPlusData& data, const std::string& name, int row, unsigned column) {
  const std::vector<const SVFDataField*> fields = DrawnFields(data);
  const Layout layout = LayoutOf(fields);
  FusePlace place;
  unsigned long long y = kMargin;
  for (const SVFDataField* field : fields) {
    y += kLabelHeight;
    if (name == field->GetFieldName()) {
      place.x = kMargin + column * layout.scale;
      place.y = static_cast<unsigned>(y + static_cast<unsigned long long>(row - 1) * layout.scale);
      place.size = layout.scale;
      place.found = true;
      return place;
    }
    y += static_cast<unsigned long long>(field->GetRowCount()) * layout.scale + kGap;
  }
  return place;
}

bool WriteFuseMapPng(const std::string& path, const SVFPlusData& data, const SVFPlusData* other,
                     std::string& error) {
  const std::vector<const SVFDataField*> fields = DrawnFields(data);
  const Layout layout = LayoutOf(fields);
  if (layout.height > 0x7FFFFFFFull) {
    error = "the picture would be taller than a PNG file can be";
    return false;
  }
  PngWriter w;
  w.file = std::fopen(path.c_str(), "wb");
  if (w.file == nullptr) {
    error = "cannot be opened for writing";
    return false;
  }
  w.png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  w.info = w.png != nullptr ? png_create_info_struct(w.png) : nullptr;
  if (w.info == nullptr) {
    error = "out of memory";
    return false;
  }
  std::vector<png_byte> line(3 * static_cast<std::size_t>(layout.width));
  if (setjmp(png_jmpbuf(w.png))) {
    error = "could not be written whole";
    return false;
  }
  png_init_io(w.png, w.file);
  png_set_IHDR(w.png, w.info, layout.width, static_cast<png_uint_32>(layout.height), 8,
               PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
               PNG_FILTER_TYPE_DEFAULT);
  png_write_info(w.png, w.info);
  const auto blank_lines = [&](unsigned count) {
    Paint(line, 0, layout.width, kBackgroundColour);
    for (unsigned i = 0; i < count; ++i) png_write_row(w.png, line.data());
  };
  blank_lines(kMargin);
  for (const SVFDataField* field : fields) {
    // The label: five font rows, each drawn kFontScale times, then a space.
    const std::string label = LabelOf(*field);
    for (unsigned fy = 0; fy < 5; ++fy) {
      Paint(line, 0, layout.width, kBackgroundColour);
      for (std::size_t i = 0; i < label.size(); ++i) {
        const char* rows = GlyphRows(label[i]);
        for (unsigned fx = 0; rows != nullptr && fx < 3; ++fx) {
          if (rows[fy * 3 + fx] == '#')
            Paint(line, kMargin + static_cast<unsigned>(i) * kGlyphWidth + fx * kFontScale,
                  kFontScale, kLabelColour);
        }
      }
      for (unsigned s = 0; s < kFontScale; ++s) png_write_row(w.png, line.data());
    }
    blank_lines(kLabelHeight - 5 * kFontScale);
    const SVFDataField* twin =
        other != nullptr ? other->GetDataField(field->GetFieldName()) : nullptr;
    for (int r = 1; r <= field->GetRowCount(); ++r) {
      Paint(line, 0, layout.width, kBackgroundColour);
      const unsigned width = field->GetRowWidth(r);
      const KvByteBuffer* row = field->GetRow(r);
      const KvByteBuffer* other_row = twin != nullptr ? twin->GetRow(r) : nullptr;
      for (unsigned c = 0; c < width; ++c) {
        const bool set = RowBit(row, width, c);
        const bool differs =
            other != nullptr && (other_row == nullptr || twin->GetRowWidth(r) != width ||
                                 RowBit(other_row, width, c) != set);
        Paint(line, kMargin + c * layout.scale, layout.scale,
              differs ? kDifferenceColour
              : set   ? kFuseOneColour
                      : kFuseZeroColour);
      }
      for (unsigned s = 0; s < layout.scale; ++s) png_write_row(w.png, line.data());
    }
    blank_lines(kGap);
  }
  png_write_end(w.png, nullptr);
  png_destroy_write_struct(&w.png, &w.info);
  w.png = nullptr;
  const bool flushed = std::fflush(w.file) == 0 && std::ferror(w.file) == 0;
  const bool closed = std::fclose(w.file) == 0;
  w.file = nullptr;
  if (!flushed || !closed) {
    error = "could not be written whole";
    return false;
  }
  return true;
}

}  // namespace fusekit::cli
