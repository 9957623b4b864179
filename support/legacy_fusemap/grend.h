// The legacy fuse-map library of the Grend PLD family (vendor "Helvar"): from the rows to be
// programmed it derives what the device reads back and which bits can be verified, and from rows
// read back it builds the JEDEC file that programs them.
#ifndef FUSEKIT_SUPPORT_LEGACY_FUSEMAP_GREND_H
#define FUSEKIT_SUPPORT_LEGACY_FUSEMAP_GREND_H

// Result codes of the legacy library's functions.
enum GrendResult {
  kGrendOk = 0,
  kGrendCannotReadInput = 1,  // the input file cannot be opened
  kGrendBadInput = 2,         // the input is not a row file
  kGrendCannotWrite = 3,      // an output file cannot be written
  kGrendBadGeometry = 4,      // a row has another width than the device's
  kGrendMissingRows = 5,      // an array row of the device is absent
};

// Result codes of GREND_OUT, 1 to 7: every failure it can meet.
enum GrendOutResult {
  kGrendOutOk = 0,
  kGrendOutCannotReadRows = 1,  // the row file cannot be opened
  kGrendOutBadRowFile = 2,      // the row file is not a row file
  kGrendOutBadMode = 3,         // the mode is neither "r" nor "p"
  kGrendOutMissingRows = 4,     // no array rows, or the array rows are not numbered 0 to n-1
  kGrendOutBadWidth = 5,        // an array row is empty or wider or narrower than row 0
  kGrendOutBadUsercode = 6,     // the usercode row is empty or longer than 4096 bits
  kGrendOutCannotWrite = 7,     // the JEDEC file cannot be written
};

// Reads the rows to be programmed from tdiFile (a row file, see row_file.h) and writes the rows
// the device reads back after programming to tdoFile, the verify mask (1 = the bit is compared)
// to maskFile, and one line with the result code and its meaning to resultFile. The Grend
// devices read back every array and usercode bit as programmed, and every bit is verified.
// addressLength and dataLength are the device's array geometry.
int GREND_IN(const char* tdiFile, const char* tdoFile, const char* maskFile, const char* resultFile,
             unsigned int addressLength, unsigned int dataLength);

// Builds the JEDEC file jedecFile from the row file rowFile: the array rows in index order as the
// fuse list (row a, column c is fuse a x width + c; QF is the row count times the width), the
// usercode row (-1) as a binary U field, the E row (-2) as the E field, the C fuse checksum and
// the transmission checksum after ETX. mode "r" says the rows were read back from a device, "p"
// that they are the rows to program; the Grend devices read back every bit as programmed, so
// both give the same file. A line with the result and its meaning goes to resultFile (when
// given). jedecOption, workDir and libraryFolder are accepted for the callers' sake; the
// converter needs no option, work area or device data files. Returns 0 or a GrendOutResult.
int GREND_OUT(const char* rowFile, const char* mode, const char* jedecFile, const char* resultFile,
              const char* jedecOption, const char* workDir, const char* libraryFolder);

#endif  // FUSEKIT_SUPPORT_LEGACY_FUSEMAP_GREND_H
