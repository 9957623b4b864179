// BuildJEDHeader: the design text and notes a JEDEC file written by the library starts with.
#include <cstring>
#include <ctime>
#include <new>
#include <string>
#include <vector>

#include "fusekit/jedec.h"
#include "jedec/jedec_text.h"

namespace fusekit::jedec {
namespace {

constexpr const char* kOwnNotes[] = {"NOTE CREATED BY:", "NOTE DEVICE NAME:", "NOTE DATE:"};

bool IsOwnNote(const std::string& line) {
  for (const char* note : kOwnNotes) {
    if (line.compare(0, std::strlen(note), note) == 0) return true;
  }
  return false;
}

std::string Date() {
  const std::time_t now = std::time(nullptr);
  const std::tm* local = std::localtime(&now);
  std::string text = local != nullptr ? std::asctime(local) : "";
  while (!text.empty() && text.back() == '\n') text.pop_back();
  return text;
}

std::string HeaderBlock(const char* creator, const char* device, const char* comment) {
  std::vector<std::string> lines;
  if (comment != nullptr) {
    for (const std::string& line : LinesOf(comment)) {
      if (!line.empty()) lines.push_back(AsNoteText(line));
    }
  }
  std::string block = (lines.empty() ? AsNoteText(device != nullptr ? device : "") : lines[0]);
  block += '\n';
  if (creator != nullptr)
    block += "NOTE CREATED BY: Corvane Semiconductor " + AsNoteText(creator) + "\n";
  if (device != nullptr) block += "NOTE DEVICE NAME: " + AsNoteText(device) + "\n";
  block += "NOTE DATE: " + Date() + "\n";
  for (std::size_t i = 1; i < lines.size(); ++i) {
    if (IsOwnNote(lines[i])) continue;  // the notes of an earlier write, replaced above
    block += (lines[i].compare(0, 5, "NOTE ") == 0 ? "" : "NOTE ") + lines[i] + "\n";
  }
  return block;
}

}  // namespace
}  // namespace fusekit::jedec

void BuildJEDHeader(char* const out, const char* creatorVersion, const char* deviceName,
                    const char* comment) {
  if (out == nullptr) return;
  try {
    const std::string block = fusekit::jedec::HeaderBlock(creatorVersion, deviceName, comment);
    std::memcpy(out, block.c_str(), block.size() + 1);
  } catch (const std::bad_alloc&) {
    out[0] = '\0';
  }
}
