// The legacy fuse-map library of the Grend PLD family (vendor "Helvar"): from the rows to be
// programmed it derives what the device reads back and which bits can be verified.
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

// Reads the rows to be programmed from tdiFile (a row file, see row_file.h) and writes the rows
// the device reads back after programming to tdoFile, the verify mask (1 = the bit is compared)
// to maskFile, and one line with the result code and its meaning to resultFile. The Grend
// devices read back every array and usercode bit as programmed, and every bit is verified.
// addressLength and dataLength are the device's array geometry.
int GREND_IN(const char* tdiFile, const char* tdoFile, const char* maskFile, const char* resultFile,
             unsigned int addressLength, unsigned int dataLength);

#endif  // FUSEKIT_SUPPORT_LEGACY_FUSEMAP_GREND_H
