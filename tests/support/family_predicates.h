// Every family predicate with its family's name, for tests that go through all of them.
#ifndef FUSEKIT_TESTS_SUPPORT_FAMILY_PREDICATES_H
#define FUSEKIT_TESTS_SUPPORT_FAMILY_PREDICATES_H

#include "fusekit/family.h"

namespace fusekit::testing {

struct NamedPredicate {
  const char* name;
  int (*test)(const char*);
};

inline constexpr NamedPredicate kFamilyPredicates[] = {
    {"Quillon", IsQuillonFamily}, {"Tavrel", IsTavrelFamily},   {"Pelmo2", IsPelmo2Family},
    {"Pelmo3D", IsPelmo3DFamily}, {"Torvik4", IsTorvik4Family}, {"Glimra", IsGlimraFamily},
    {"Fendra2", IsFendra2Family}, {"Marsk", IsMarskFamily},     {"Zentiv", IsZentivFamily},
    {"Orlan", IsOrlanFamily},     {"OrlanD6", IsOrlanD6Family}, {"Vorsk", IsVorskFamily},
    {"GrendMH", IsGrendMHFamily}, {"Ombrel", IsOmbrelFamily},
};

}  // namespace fusekit::testing

#endif  // FUSEKIT_TESTS_SUPPORT_FAMILY_PREDICATES_H
