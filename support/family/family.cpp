// Family predicates: look-ups in the family table.
#include <cstdio>

#include "fusekit/family.h"
#include "support/family/family_table.h"

namespace fusekit::family {

bool IsMember(Family family, const char* name) {
  if (name == nullptr) return false;
  const std::string_view wanted(name);
  for (const Membership& member : kMembers) {
    if (member.family == family && member.name == wanted) return true;
  }
  return false;
}

}  // namespace fusekit::family

using fusekit::family::Family;
using fusekit::family::IsMember;

int IsQuillonFamily(const char* family) {
  return IsMember(Family::kQuillon, family);
}
int IsTavrelFamily(const char* family) {
  return IsMember(Family::kTavrel, family);
}
int IsPelmo2Family(const char* family) {
  return IsMember(Family::kPelmo2, family);
}
int IsPelmo3DFamily(const char* family) {
  return IsMember(Family::kPelmo3D, family);
}
int IsTorvik4Family(const char* family) {
  return IsMember(Family::kTorvik4, family);
}
int IsGlimraFamily(const char* family) {
  return IsMember(Family::kGlimra, family);
}
int IsFendra2Family(const char* family) {
  return IsMember(Family::kFendra2, family);
}
int IsMarskFamily(const char* family) {
  return IsMember(Family::kMarsk, family);
}
int IsZentivFamily(const char* family) {
  return IsMember(Family::kZentiv, family);
}
int IsOrlanFamily(const char* family) {
  return IsMember(Family::kOrlan, family);
}
int IsOrlanD6Family(const char* family) {
  return IsMember(Family::kOrlanD6, family);
}
int IsVorskFamily(const char* family) {
  return IsMember(Family::kVorsk, family);
}
int IsGrendMHFamily(const char* family) {
  return IsMember(Family::kGrendMH, family);
}
int IsOmbrelFamily(const char* family) {
  return IsMember(Family::kOmbrel, family);
}

int IsDirectSPIDevice(const char* family) {
  if (family == nullptr) return 0;
  const std::string_view wanted(family);
  for (const auto& entry : fusekit::family::kDirectSpiClasses) {
    if (entry.name == wanted) return entry.spi_class;
  }
  return 0;
}

int IsFileReadable(const char* fileName) {
  if (fileName == nullptr || fileName[0] == '\0') return 0;
  std::FILE* file = std::fopen(fileName, "rb");
  if (file == nullptr) return 0;
  // A folder opens on some systems but cannot be read: try one byte.
  std::fgetc(file);
  const bool readable = std::ferror(file) == 0;
  std::fclose(file);
  return readable ? 1 : 0;
}
