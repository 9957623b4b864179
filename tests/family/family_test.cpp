// Family predicates: which family names each predicate accepts.
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "fusekit/fusekit.h"
#include "tests/support/family_predicates.h"
#include "tests/support/temp_dir.h"

namespace {

using fusekit::testing::kFamilyPredicates;

TEST(FamilyPredicates, EachNameBelongsToExactlyTheExpectedFamilies) {
  const struct {
    const char* family;
    std::set<std::string> members_of;
  } cases[] = {
      {"CorvaneQuillon", {"Quillon"}},
      {"CorvaneQuillonE", {"Quillon"}},
      {"CorvaneTavrel", {"Tavrel"}},
      {"CorvanePelmo2", {"Pelmo2"}},
      {"CorvanePelmo2M", {"Pelmo2"}},
      {"CorvanePelmo3D", {"Pelmo3D"}},
      {"CorvaneTorvik4", {"Torvik4"}},
      {"CorvaneGlimra", {"Glimra"}},
      {"CorvaneFendra2", {"Fendra2"}},
      {"CorvaneMarsk", {"Marsk"}},
      {"CorvaneZentiv", {"Marsk", "Zentiv"}},
      {"CorvaneOrlan", {"Orlan"}},
      {"CorvaneOrlanD6", {"OrlanD6"}},
      {"CorvaneVorsk", {"Vorsk"}},
      {"CorvaneGrendMH", {"GrendMH"}},
      {"CorvaneOmbrel", {"Ombrel"}},
      {"CorvaneTorvik2", {}},
      {"corvaneorlan", {}},  // whole names, with regard to case
      {"CorvaneOrlan ", {}},
      {"Orlan", {}},
      {"", {}},
  };
  for (const auto& c : cases) {
    for (const auto& p : kFamilyPredicates) {
      EXPECT_EQ(p.test(c.family) != 0, c.members_of.count(p.name) == 1)
          << c.family << " and Is" << p.name << "Family";
    }
  }
  for (const auto& p : kFamilyPredicates) EXPECT_EQ(p.test(nullptr), 0) << p.name;
}

TEST(FamilyPredicates, DirectSpiClasses) {
  EXPECT_EQ(IsDirectSPIDevice("CorvanePelmo3D"), 1);
  EXPECT_EQ(IsDirectSPIDevice("CorvaneOrlan"), 2);
  EXPECT_EQ(IsDirectSPIDevice("CorvaneTorvik4"), 3);
  EXPECT_EQ(IsDirectSPIDevice("CorvaneOmbrel"), 3);
  EXPECT_EQ(IsDirectSPIDevice("CorvaneQuillon"), 0);
  EXPECT_EQ(IsDirectSPIDevice(nullptr), 0);
}

TEST(FamilyPredicates, FileReadable) {
  fusekit::testing::TempDir dir;
  EXPECT_NE(IsFileReadable(dir.Write("a.jed", "x").c_str()), 0);
  EXPECT_NE(IsFileReadable(dir.Write("empty.jed", "").c_str()), 0);
  EXPECT_EQ(IsFileReadable(dir.Path("missing.jed").c_str()), 0);
  EXPECT_EQ(IsFileReadable(dir.Path("").c_str()), 0);  // the folder itself
  EXPECT_EQ(IsFileReadable(""), 0);
  EXPECT_EQ(IsFileReadable(nullptr), 0);
}

}  // namespace
