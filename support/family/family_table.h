// The family table: which family names make up each device family, and the direct-SPI classes.
// The predicates of family.h are look-ups in these sets and nothing else.
#ifndef FUSEKIT_SUPPORT_FAMILY_FAMILY_TABLE_H
#define FUSEKIT_SUPPORT_FAMILY_FAMILY_TABLE_H

#include <string_view>

namespace fusekit::family {

enum class Family {
  kQuillon,
  kTavrel,
  kPelmo2,
  kPelmo3D,
  kTorvik4,
  kGlimra,
  kFendra2,
  kMarsk,
  kZentiv,
  kOrlan,
  kOrlanD6,
  kVorsk,
  kGrendMH,
  kOmbrel,
};

struct Membership {
  std::string_view name;  // a family name as DeviceInfo::GetFamily gives it
  Family family;
};

// A name may appear under several families (every Zentiv name is also a Marsk name).
inline constexpr Membership kMembers[] = {
    {"CorvaneQuillon", Family::kQuillon}, {"CorvaneQuillonE", Family::kQuillon},
    {"CorvaneTavrel", Family::kTavrel},   {"CorvanePelmo2", Family::kPelmo2},
    {"CorvanePelmo2M", Family::kPelmo2},  {"CorvanePelmo3D", Family::kPelmo3D},
    {"CorvaneTorvik4", Family::kTorvik4}, {"CorvaneGlimra", Family::kGlimra},
    {"CorvaneFendra2", Family::kFendra2}, {"CorvaneMarsk", Family::kMarsk},
    {"CorvaneZentiv", Family::kMarsk},    {"CorvaneZentiv", Family::kZentiv},
    {"CorvaneOrlan", Family::kOrlan},     {"CorvaneOrlanD6", Family::kOrlanD6},
    {"CorvaneVorsk", Family::kVorsk},     {"CorvaneGrendMH", Family::kGrendMH},
    {"CorvaneOmbrel", Family::kOmbrel},
};

struct DirectSpiClass {
  std::string_view name;
  int spi_class;  // 1 to 3
};

inline constexpr DirectSpiClass kDirectSpiClasses[] = {
    {"CorvanePelmo3D", 1},
    {"CorvaneOrlan", 2},
    {"CorvaneTorvik4", 3},
    {"CorvaneOmbrel", 3},
};

bool IsMember(Family family, const char* name);

}  // namespace fusekit::family

#endif  // FUSEKIT_SUPPORT_FAMILY_FAMILY_TABLE_H
