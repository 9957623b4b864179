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

// Bytes of a row printed on one line before the writer breaks it.
constexpr int kRowBytesPerLine = 35;

}  // namespace fusekit::isc

#endif  // FUSEKIT_ISC_ISC_FORMAT_H
