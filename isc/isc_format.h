// The IEEE 1532 ISC data file as fusekit writes it: the data-field to block vocabulary and the
// fixed texts. Layout only, no logic.
#ifndef FUSEKIT_ISC_ISC_FORMAT_H
#define FUSEKIT_ISC_ISC_FORMAT_H

#include <string_view>

namespace fusekit::isc {

enum class BlockKeyword { kRepeat, kInitialize };

struct BlockForm {
  std::string_view field;  // data-field name of the programming data
  std::string_view block;  // ISC data-block name
  BlockKeyword keyword;
  bool writes_data_crc;                 // a data_CRC part follows the rows
  std::string_view terminate;           // field written as the block's terminate part ("" for none)
  std::string_view terminate_fallback;  // used when the first terminate field is absent
};

// The vocabulary of the format; the reader maps the same names back. "ArchArray_TDI" and
// "PadringArray_TDI" both become "padring", and "ArchArray_TDI" is also the terminate part of
// "array" when there is no "EFuseArray_TDI": it is then written twice, on purpose.
inline constexpr BlockForm kBlockForms[] = {
    {"FuseArray_TDI", "array", BlockKeyword::kRepeat, true, "EFuseArray_TDI", "ArchArray_TDI"},
    {"FuseArray_TDO", "array_tdo", BlockKeyword::kRepeat, true, "EFuseArray_TDO", ""},
    {"FuseArray_MASK", "array_mask", BlockKeyword::kRepeat, false, "", ""},
    {"Usercode_TDI", "usercode", BlockKeyword::kInitialize, false, "", ""},
    {"Usercode_TDO", "usercode_tdo", BlockKeyword::kInitialize, false, "", ""},
    {"ArchArray_TDI", "padring", BlockKeyword::kInitialize, true, "", ""},
    {"PadringArray_TDI", "padring", BlockKeyword::kInitialize, true, "", ""},
    {"CFGArray_TDI", "cfg_pgm", BlockKeyword::kRepeat, true, "", ""},
    {"CFGArray_TDO", "cfg_vfy", BlockKeyword::kInitialize, true, "", ""},
    {"EFuseArray_TDI", "e_fuse", BlockKeyword::kInitialize, true, "", ""},
    {"EFuseArray_TDO", "e_fuse_tdo", BlockKeyword::kInitialize, true, "", ""},
    {"Control_Register_0_TDI", "control_register_0", BlockKeyword::kInitialize, false, "", ""},
    {"Control_Register_1_TDI", "control_register_1", BlockKeyword::kInitialize, false, "", ""},
    {"Control_Register_0_TDO", "control_register_0_tdo", BlockKeyword::kInitialize, false, "", ""},
    {"Control_Register_1_TDO", "control_register_1_tdo", BlockKeyword::kInitialize, false, "", ""},
    {"SEDArray_TDI", "sed_crc_tdi", BlockKeyword::kInitialize, false, "", ""},
    {"SEDArray_TDO", "sed_crc_tdo", BlockKeyword::kInitialize, false, "", ""},
};

// The special sections: settings and memories programmed apart from the main array, each a set
// of fields written as blocks of their own (docs/isc-sections.md). The security section is the
// override line and has no block.
enum class Section { kSecurity, kControl, kSed, kUfm, kEbr, kFeature };

// How a section block's row width is found when it is read: its "-- ROW_WIDTH" comment, else 32
// (control registers), else the device's SED length, else not at all.
enum class SectionWidth { kCommentOnly, kCommentElse32, kCommentElseSedLength };

struct SectionForm {
  Section section;
  BlockForm form;
  SectionWidth width;
};

inline constexpr SectionForm kSectionForms[] = {
    {Section::kControl,
     {"Control_Register_0_TDI", "control_register_0", BlockKeyword::kInitialize, false, "", ""},
     SectionWidth::kCommentElse32},
    {Section::kControl,
     {"Control_Register_1_TDI", "control_register_1", BlockKeyword::kInitialize, false, "", ""},
     SectionWidth::kCommentElse32},
    {Section::kControl,
     {"Control_Register_0_TDO", "control_register_0_tdo", BlockKeyword::kInitialize, false, "", ""},
     SectionWidth::kCommentElse32},
    {Section::kControl,
     {"Control_Register_1_TDO", "control_register_1_tdo", BlockKeyword::kInitialize, false, "", ""},
     SectionWidth::kCommentElse32},
    {Section::kControl,
     {"Config_Register_TDI", "config_register", BlockKeyword::kInitialize, false, "", ""},
     SectionWidth::kCommentOnly},
    {Section::kControl,
     {"UserMode_Register_TDI", "usermode_register", BlockKeyword::kInitialize, false, "", ""},
     SectionWidth::kCommentOnly},
    {Section::kSed,
     {"SEDArray_TDI", "sed_crc_tdi", BlockKeyword::kInitialize, false, "", ""},
     SectionWidth::kCommentElseSedLength},
    {Section::kSed,
     {"SEDArray_TDO", "sed_crc_tdo", BlockKeyword::kInitialize, false, "", ""},
     SectionWidth::kCommentElseSedLength},
    {Section::kUfm,
     {"UFMArray_TDI", "ufm", BlockKeyword::kRepeat, true, "", ""},
     SectionWidth::kCommentOnly},
    {Section::kUfm,
     {"UFMArray_TDO", "ufm_tdo", BlockKeyword::kRepeat, true, "", ""},
     SectionWidth::kCommentOnly},
    {Section::kUfm,
     {"UFMArray_MASK", "ufm_mask", BlockKeyword::kRepeat, false, "", ""},
     SectionWidth::kCommentOnly},
    {Section::kEbr,
     {"EBRArray_TDI", "ebr", BlockKeyword::kRepeat, true, "", ""},
     SectionWidth::kCommentOnly},
    {Section::kEbr,
     {"EBRArray_MASK", "ebr_mask", BlockKeyword::kRepeat, false, "", ""},
     SectionWidth::kCommentOnly},
    {Section::kFeature,
     {"FeatureRow_TDI", "feature_row", BlockKeyword::kInitialize, false, "", ""},
     SectionWidth::kCommentOnly},
    {Section::kFeature,
     {"FeatureBits_TDI", "feature_bits", BlockKeyword::kInitialize, false, "", ""},
     SectionWidth::kCommentOnly},
};

// Bytes of a row printed on one line before the writer breaks it.
constexpr int kRowBytesPerLine = 35;

}  // namespace fusekit::isc

#endif  // FUSEKIT_ISC_ISC_FORMAT_H
