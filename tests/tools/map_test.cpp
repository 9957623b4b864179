// fusekit map and compare --png, checked by decoding the pictures: the pixel of a fuse holds
// the colour of its value, and a fuse that differs from the reference is marked.
#include <png.h>
#include <sys/wait.h>

#include <cstdio>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "fusekit/fusekit.h"
#include "tests/support/temp_dir.h"
#include "tools/fusekit/fuse_map_png.h"

namespace {

using fusekit::testing::ReadFile;
using fusekit::testing::TempDir;

const std::string kSample = std::string(FUSEKIT_SOURCE_DIR) + "/data/samples/tv64.jed";

int RunTool(const std::string& arguments) {
  const std::string command = std::string(FUSEKIT_TOOL_PATH) + " " + arguments + " >/dev/null 2>&1";
  const int raw = std::system(command.c_str());
  return WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
}

struct Picture {
  unsigned width = 0;
  unsigned height = 0;
  std::vector<png_byte> rgb;
  unsigned At(unsigned x, unsigned y) const {
    const std::size_t i = 3 * (static_cast<std::size_t>(y) * width + x);
    return static_cast<unsigned>(rgb[i]) << 16 | static_cast<unsigned>(rgb[i + 1]) << 8 |
           rgb[i + 2];
  }
};

bool Decode(const std::string& path, Picture& picture) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  if (!png_image_begin_read_from_file(&image, path.c_str())) return false;
  image.format = PNG_FORMAT_RGB;
  picture.width = image.width;
  picture.height = image.height;
  picture.rgb.resize(PNG_IMAGE_SIZE(image));
  return png_image_finish_read(&image, nullptr, picture.rgb.data(), 0, nullptr) != 0;
}

// The sample read for its device, as the tool reads it, to know where each fuse is drawn.
void ReadSample(SVFPlusData& data) {
  DeviceDatabase database;
  database.LoadDefault();
  DeviceInfo device = *database.FindDevice("TV64");
  std::string name = kSample;
  JEDEC2SVFPlus(name.data(), &device, 1, &data, "", "", "", "");
}

bool SampleFuse(unsigned fuse) {
  const std::string text = ReadFile(kSample);
  const std::size_t line =
      text.find("\nL" + std::string(5 - std::to_string(fuse / 96 * 96).size(), '0') +
                std::to_string(fuse / 96 * 96) + " ");
  return text[line + 8 + fuse % 96] == '1';
}

TEST(ToolMap, EveryFuseHasTheColourOfItsValue) {
  TempDir dir;
  const std::string map = dir.Path("map.png");
  ASSERT_EQ(RunTool("map " + kSample + " --device TV64 -o " + map), 0);
  Picture picture;
  ASSERT_TRUE(Decode(map, picture));
  SVFPlusData data;
  ReadSample(data);
  for (const unsigned fuse : {0u, 1u, 2u, 95u, 96u, 1000u, 2303u}) {
    const fusekit::cli::FusePlace place = fusekit::cli::PlaceOfFuse(
        data, "FuseArray_TDI", static_cast<int>(fuse / 96 + 1), fuse % 96);
    ASSERT_TRUE(place.found);
    const unsigned expected =
        SampleFuse(fuse) ? fusekit::cli::kFuseOneColour : fusekit::cli::kFuseZeroColour;
    EXPECT_EQ(picture.At(place.x, place.y), expected) << "fuse " << fuse;
    EXPECT_EQ(picture.At(place.x + place.size - 1, place.y + place.size - 1), expected);
  }
  // The label above the array is drawn in the label colour somewhere on its lines.
  const fusekit::cli::FusePlace first = fusekit::cli::PlaceOfFuse(data, "FuseArray_TDI", 1, 0);
  bool labelled = false;
  for (unsigned y = 0; y < first.y; ++y) {
    for (unsigned x = 0; x < picture.width; ++x)
      labelled = labelled || picture.At(x, y) == fusekit::cli::kLabelColour;
  }
  EXPECT_TRUE(labelled);
  EXPECT_EQ(RunTool("map " + kSample + " -o " + dir.Path("generic.png")), 0)
      << "a JEDEC file alone";
  EXPECT_EQ(RunTool("map " + kSample + " --device TV64 -o " + dir.Path("no/such/map.png")), 3);
}

TEST(ToolMap, CompareMarksTheFusesThatDiffer) {
  TempDir dir;
  std::string text = ReadFile(kSample);
  // Fuse 1000 is row 11 (L00960), column 40: flipped, with the C field left out.
  const std::size_t at = text.find("\nL00960 ") + 8 + 40;
  text[at] = text[at] == '0' ? '1' : '0';
  text.replace(text.find("C59ED*"), 6, "C0000*");
  const std::string changed = dir.Write("changed.jed", text);
  const std::string diff = dir.Path("diff.png");
  EXPECT_EQ(RunTool("compare " + changed + " " + kSample + " --device TV64 --png " + diff), 1);
  Picture picture;
  ASSERT_TRUE(Decode(diff, picture));
  SVFPlusData data;
  ReadSample(data);
  const auto colour = [&](unsigned fuse) {
    const fusekit::cli::FusePlace place = fusekit::cli::PlaceOfFuse(
        data, "FuseArray_TDI", static_cast<int>(fuse / 96 + 1), fuse % 96);
    return picture.At(place.x, place.y);
  };
  EXPECT_EQ(colour(1000), fusekit::cli::kDifferenceColour);
  EXPECT_NE(colour(999), fusekit::cli::kDifferenceColour);
  EXPECT_NE(colour(1001), fusekit::cli::kDifferenceColour);
}

}  // namespace
