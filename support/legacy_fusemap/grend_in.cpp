// GREND_IN: the read-back and verify-mask work files of the Grend PLD devices.
#include <cstdio>
#include <string>

#include "support/legacy_fusemap/grend.h"
#include "support/legacy_fusemap/row_file.h"

namespace {

const char* ResultText(int result) {
  switch (result) {
    case kGrendOk:
      return "OK";
    case kGrendCannotReadInput:
      return "cannot open the input row file";
    case kGrendBadInput:
      return "the input is not a row file";
    case kGrendCannotWrite:
      return "cannot write an output file";
    case kGrendBadGeometry:
      return "a row has the wrong width";
    default:
      return "an array row is missing";
  }
}

int Derive(const char* tdiFile, const char* tdoFile, const char* maskFile,
           unsigned int addressLength, unsigned int dataLength) {
  using fusekit::legacy::RowFile;
  if (tdiFile == nullptr || tdoFile == nullptr || maskFile == nullptr) return kGrendCannotReadInput;
  if (std::FILE* probe = std::fopen(tdiFile, "rb")) {
    std::fclose(probe);
  } else {
    return kGrendCannotReadInput;
  }
  RowFile programmed;
  if (!fusekit::legacy::ReadRowFile(tdiFile, programmed)) return kGrendBadInput;
  for (unsigned int a = 0; a < addressLength; ++a) {
    const auto it = programmed.find(static_cast<int>(a));
    if (it == programmed.end()) return kGrendMissingRows;
    if (it->second.size() != dataLength) return kGrendBadGeometry;
  }
  RowFile mask;
  for (const auto& [index, bits] : programmed) mask[index] = std::string(bits.size(), '1');
  if (!fusekit::legacy::WriteRowFile(tdoFile, programmed) ||
      !fusekit::legacy::WriteRowFile(maskFile, mask))
    return kGrendCannotWrite;
  return kGrendOk;
}

}  // namespace

int GREND_IN(const char* tdiFile, const char* tdoFile, const char* maskFile, const char* resultFile,
             unsigned int addressLength, unsigned int dataLength) {
  try {
    const int result = Derive(tdiFile, tdoFile, maskFile, addressLength, dataLength);
    return fusekit::legacy::WriteResultFile(resultFile, result, ResultText(result));
  } catch (...) {
    return fusekit::legacy::WriteResultFile(resultFile, kGrendCannotWrite,
                                            ResultText(kGrendCannotWrite));
  }
}
