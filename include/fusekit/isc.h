// IEEE 1532 ISC data files: the writer and the builders of the comment block placed before it.
#ifndef FUSEKIT_ISC_H
#define FUSEKIT_ISC_H

#include <list>
#include <string>
#include <vector>

#include "fusekit/bitstream_model.h"
#include "fusekit/devicedb.h"
#include "fusekit/export.h"
#include "fusekit/progdata.h"
#include "fusekit/util.h"

// Writes the programming data as an ISC data file: prefixText (the comment block, may be null),
// the header with the creation date, creator and entity, the security and encryption lines, one
// data block for each field whose name the format knows (in the container's order, each with its
// data CRC where the format has one), and the closing line, followed by the file's CRC-16 as four
// hex digits. usercodeFromCRC puts the last array block's data CRC in the usercode blocks;
// unprocessed writes every block as "unprocessed data". Result: the file's CRC-16 (0 to 0xFFFF);
// -3 null data; -13 the file cannot be opened for writing; -19 a write failed (the file is
// incomplete).
FUSEKIT_API int SVFPlus2ISC(SVFPlusData* data, const char* prefixText, const char* fileName,
                            const char* entity, int usercodeFromCRC, int unprocessed,
                            const char* creator);
// The same; the security line is also written when forceSecurity is non-zero, and the entity
// line reads "Entity \t" instead of "Entity\t".
FUSEKIT_API int SVFPlus2ISC(SVFPlusData* data, const char* prefixText, const char* fileName,
                            const char* entity, int usercodeFromCRC, int unprocessed,
                            int forceSecurity, const char* creator);

// Builds the comment block into out (cleared first; the caller sizes it): the creator, device
// name, total fuses and data CRC lines for the arguments given, then for a ".jed" source its name,
// checksum and header notes, for another source its name, and an empty line. Nothing for null out.
FUSEKIT_API void BuildISCHeader(char* const out, const char* creatorVersion, int totalFuses,
                                const char* deviceName, const char* sourceFileName,
                                unsigned int jedecChecksum, const char* dataCRC);
// A comment block from a text file of comment lines (each written after "-- "), then the total
// fuses and data CRC lines.
FUSEKIT_API void BuildISCHeaderFromBitstream(char* const out, unsigned int totalFuses,
                                             const char* dataCRC, const char* commentFileName);
// A comment block naming several source files; the unsigned argument is ignored.
FUSEKIT_API void BuildISCHeaderFromBitstream(char* const out, const char* creatorVersion,
                                             int totalFuses, const char* deviceName,
                                             std::vector<const char*>& sourceFileNames,
                                             unsigned int ignoredChecksum, const char* dataCRC);

// Reads an ISC data file into data for the device: the array geometry from the "array" block's
// size comments into the device record, then one field per data block in file order (row widths
// from the device record), the security override, and an "ID" field at the end. dataCRCOut
// receives the data CRC of "FuseArray_TDI", fileCRCOut the four digits after the closing
// parenthesis (upper-cased), arrayRowCountOut the row count of "FuseArray_TDI". The entity names
// are compared with the header's, which never changes the result. Result 1 on success; -2 the
// file cannot be opened, a "(" is missing, or a keyword or block is unknown (unprocessed blocks
// included); -3 a field or row cannot be made; -13 null data or device, or a syntax error inside
// a block; -16 the device lacks a block's length, or the file ends early; -17 wrong standard.
// jedecMode, jedecOption, workDir, packageName and installPath serve the Grend PLD devices.
FUSEKIT_API int ISC2SVFPlus(char* fileName, DeviceInfo* device, int jedecMode, SVFPlusData* data,
                            const char* jedecOption, char* workDir, const char* packageName,
                            char* installPath, KvObjList* entityNames, char* dataCRCOut,
                            char* fileCRCOut, int* arrayRowCountOut);
FUSEKIT_API int ISC2SVFPlus(char* fileName, DeviceInfo* device, int jedecMode, SVFPlusData* data,
                            const char* jedecOption, char* workDir, const char* packageName,
                            char* installPath, KvObjList* entityNames, char* dataCRCOut,
                            char* fileCRCOut);
FUSEKIT_API int ISC2SVFPlus(char* fileName, DeviceInfo* device, int jedecMode, SVFPlusData* data,
                            const char* jedecOption, char* workDir, const char* packageName,
                            char* installPath, std::list<std::string>& entityNames,
                            char* dataCRCOut, char* fileCRCOut, int* arrayRowCountOut);
FUSEKIT_API int ISC2SVFPlus(char* fileName, DeviceInfo* device, int jedecMode, SVFPlusData* data,
                            const char* jedecOption, char* workDir, const char* packageName,
                            char* installPath, std::list<std::string>& entityNames,
                            char* dataCRCOut, char* fileCRCOut);

// Reads only the usercode blocks ("usercode", "usercode_tdo", "usercode_mask") and appends "ID".
FUSEKIT_API int USERCODEISC2SVFPlus(char* fileName, DeviceInfo* device, int jedecMode,
                                    SVFPlusData* data, const char* jedecOption, char* workDir,
                                    const char* packageName, char* installPath,
                                    KvObjList* entityNames, char* dataCRCOut, char* fileCRCOut);

// Reads only "control_register_1" (registerIndex non-zero) or "control_register_0" into its
// field of 32 bits, and appends "ID" when the block was found. The three texts are not used.
FUSEKIT_API int CONTROLISC2SVFPlus(char* fileName, DeviceInfo* device, int registerIndex,
                                   SVFPlusData* data, const char* unused1, const char* unused2,
                                   const char* unused3);

// Reads the header only: 0, or -17 for a wrong standard version; -2 when the file cannot be
// opened or does not begin with "IEEE_1532_DATA (" and "HEADER ("; 1 when it ends before a header.
FUSEKIT_API int ISCEntityNameCheck(char* fileName, KvObjList* entityNames);
FUSEKIT_API int ISCEntityNameCheck(char* fileName, std::list<std::string>& entityNames);
// Fills entityNames with the header's entity names and commentsOut (when not null; the caller
// sizes it) with the comment lines before the data. -2 when the file cannot be opened or its
// first keyword is not followed by "(".
FUSEKIT_API int ISCEntityNameReturn(char* fileName, std::list<std::string>& entityNames,
                                    char* commentsOut);

// Converts a JEDEC file to an ISC data file in one call: JEDEC2SVFPlus, the comment block (the
// creator, fuse count, part number, JEDEC file name, checksum and notes, and the array's data
// CRC) and SVFPlus2ISC. For vendor "Helvar" with usercodeFromCRC the usercode is first rewritten
// to the read-back CRC through "CRCTemp.jed" in workDir (left there). Ombrel devices get their
// configuration rows. Result: the ISC file's checksum (0 to 0xFFFF), or a negative status of
// the reader, the checksum query, WriteUESInfo or the writer; -1010 an Ombrel architecture row
// is missing; -100 null device.
FUSEKIT_API int JEDEC2ISC(char* sourceFile, DeviceInfo* device, int jedecMode,
                          const char* readerOption1, const char* workDir, char* readerOption2,
                          const char* readerOption3, char* entity, char* outFile,
                          int usercodeFromCRC, const char* creator);

// The same for a binary bitstream (BIT2SVFPlus) and an ASCII one (RBT2SVFPlus); readerOption2 is
// not used. usercodeFromCRC puts the first digits of the array's data CRC into "Usercode_TDI"
// (when the JTAG logical usercode length is not 0). The comment block carries the creator, part
// number, fuse count and source name. Result: the ISC file's checksum, or -3 a field or row
// cannot be made, -7 the CRC text holds another character than a hex digit or blank, -100 null
// device, or the reader's or writer's negative status.
FUSEKIT_API int BIT2ISC(char* sourceFile, DeviceInfo* device, int jedecMode,
                        const char* readerOption1, const char* workDir, char* readerOption2,
                        const char* readerOption3, char* entity, char* outFile, int usercodeFromCRC,
                        const char* creator);
FUSEKIT_API int RBT2ISC(char* sourceFile, DeviceInfo* device, int jedecMode,
                        const char* readerOption1, const char* workDir, char* readerOption2,
                        const char* readerOption3, char* entity, char* outFile, int usercodeFromCRC,
                        const char* creator);

// Up to three bitstreams of one device (a configuration bitstream, a read-back bitstream and a
// read-back mask) as programming data and as an ISC data file. The file names are borrowed.
class FUSEKIT_API CBitstreamToISC {
 public:
  CBitstreamToISC();
  virtual ~CBitstreamToISC();
  CBitstreamToISC(const CBitstreamToISC&);
  CBitstreamToISC& operator=(const CBitstreamToISC&);

  // Makes the models of the files given (null or empty names are left out), logging failures
  // into logFile. -1 a null outFile or logFile; else a model's negative result, or 0.
  int Initialize(DeviceInfo& device, const char* outFile, const char* logFile,
                 const char* configFile, const char* readbackFile, const char* maskFile);
  // The same, and data receives each model's frames by the family's extraction. -1 a null data
  // or logFile, or an extraction that failed.
  int Initialize(DeviceInfo& device, SVFPlusData* data, const char* logFile, const char* configFile,
                 const char* readbackFile, const char* maskFile);
  // Writes the ISC file of the first Initialize: the models' data, the comment block (from
  // commentFile when given, else naming the files), the security override when the
  // configuration's "security" comment is "on". The file checksum, or a negative status.
  int Generate(const char* entity, const char* creator, bool usercodeFromCRC,
               const char* commentFile);

 private:
  void Remember(DeviceInfo& device, const char* logFile, const char* configFile,
                const char* readbackFile, const char* maskFile);
  int CreateModels(DeviceInfo& device, const char* logFile, SVFPlusData* data);

  const char* config_file_ = nullptr;
  const char* readback_file_ = nullptr;
  const char* mask_file_ = nullptr;
  const char* log_file_ = nullptr;
  DeviceInfo* device_ = nullptr;
  std::string out_file_;
  XFPBitstreamModel config_model_;
  XFPBitstreamModel readback_model_;
  XFPBitstreamModel mask_model_;
};

// The special sections (docs/isc-sections.md): settings and memories a device programs apart from
// its main array, each a set of fields written as ISC blocks of their own.
//
// ISCWrite<Section>Info writes an ISC data file holding one section: prefixText (may be null), the
// header, the security line when the data is secured, and the section's blocks for the fields the
// data holds. Security: the override line alone, through SVFPlus2ISC with forceSecurity. Control:
// "Control_Register_0/1_TDI/TDO", "Config_Register_TDI", "UserMode_Register_TDI". SED:
// "SEDArray_TDI/TDO". UFM: "UFMArray_TDI/TDO/MASK". EBR: "EBRArray_TDI/MASK". Feature:
// "FeatureRow_TDI", "FeatureBits_TDI". Result: the file checksum (0 to 0xFFFF); -3 null data, or
// no field of the section; -13 the file cannot be opened; -19 a write failed.
FUSEKIT_API int ISCWriteSecurityInfo(SVFPlusData* data, const char* prefixText,
                                     const char* fileName, const char* entity, const char* creator);
FUSEKIT_API int ISCWriteControlInfo(SVFPlusData* data, const char* prefixText, const char* fileName,
                                    const char* entity, const char* creator);
FUSEKIT_API int ISCWriteSEDInfo(SVFPlusData* data, const char* prefixText, const char* fileName,
                                const char* entity, const char* creator);
FUSEKIT_API int ISCWriteUFMInfo(SVFPlusData* data, const char* prefixText, const char* fileName,
                                const char* entity, const char* creator);
FUSEKIT_API int ISCWriteEBRInfo(SVFPlusData* data, const char* prefixText, const char* fileName,
                                const char* entity, const char* creator);
FUSEKIT_API int ISCWriteFeatureInfo(SVFPlusData* data, const char* prefixText, const char* fileName,
                                    const char* entity, const char* creator);
// Every block SVFPlus2ISC writes, by its rules, and every section block besides, in the
// container's order. Files with section blocks are read whole by ISCReadAllInfo (ISC2SVFPlus
// refuses blocks it does not know). Results as SVFPlus2ISC.
FUSEKIT_API int ISCWriteAllInfo(SVFPlusData* data, const char* prefixText, const char* fileName,
                                const char* entity, int usercodeFromCRC, const char* creator);

// ISCRead<Section>Info reads one section's blocks from any ISC data file, passing over the
// others; a field of the same name in data is replaced. Row widths come from each block's
// ROW_WIDTH comment (else 32 for control registers, the device's SED length for SED blocks).
// Security sets the security flag from the override line. Result: the number of the section's
// blocks read (security: 1 when the file has the override line); -2 the file cannot be opened, a
// "(" is missing or a top-level keyword is unknown; -13 null device or data, or a syntax error in
// a block; -16 a block's width is unknown or more than the file can hold, or the file ends early;
// -17 wrong standard version.
FUSEKIT_API int ISCReadSecurityInfo(char* fileName, DeviceInfo* device, SVFPlusData* data);
FUSEKIT_API int ISCReadControlInfo(char* fileName, DeviceInfo* device, SVFPlusData* data);
FUSEKIT_API int ISCReadSEDInfo(char* fileName, DeviceInfo* device, SVFPlusData* data);
FUSEKIT_API int ISCReadUFMInfo(char* fileName, DeviceInfo* device, SVFPlusData* data);
FUSEKIT_API int ISCReadEBRInfo(char* fileName, DeviceInfo* device, SVFPlusData* data);
FUSEKIT_API int ISCReadFeatureInfo(char* fileName, DeviceInfo* device, SVFPlusData* data);
// A whole file as ISC2SVFPlus reads it, and the section blocks besides. Same statuses.
FUSEKIT_API int ISCReadAllInfo(char* fileName, DeviceInfo* device, SVFPlusData* data,
                               char* dataCRCOut, char* fileCRCOut);

// The EBR section of a binary bitstream: the "Data" component of each "Data Frame" as a row of
// "EBRArray_TDI", and the same rows of the read-back mask bitstream maskFile (null or empty: all
// ones) as "EBRArray_MASK": the rows fnEBRFileDisplay lists, which shows TDI & MASK. A verify
// ignores the bits the mask holds 0. Both fields are replaced. Result: the number of rows; -2 not
// a ".bit" file, or a model cannot be built; -3 a field or row cannot be made; -4 the mask has
// fewer data frames, or one of another length; -13 a null argument.
FUSEKIT_API int WriteEBRMask(char* fileName, DeviceInfo* device, const char* maskFile,
                             SVFPlusData* data);

// One data block of an ISC data file as GetISCSummary finds it.
struct ISCBlockSummary {
  std::string name;            // the block name as written
  std::string keyword;         // "repeat" or "initialize", lower case
  bool unprocessed = false;    // written as "unprocessed data"
  unsigned long rowWidth = 0;  // bits a row: the ROW_WIDTH comment, else four a digit of row 1
  unsigned long rowCount = 0;  // rows found (COLUMN_WIDTH is not trusted)
  unsigned long terminateRows = 0;
  bool hasStoredCRC = false;  // a data_CRC part was present
  unsigned int storedCRC = 0;
  unsigned int computedCRC = 0;  // data CRC of the rows and terminate rows as found
};

// What an ISC data file holds, without a device record.
struct ISCSummary {
  std::string comments;  // comment lines before the opening keyword, each "-- text\n"
  std::string standard;  // STD_Version
  std::string date;      // Creation_Date
  std::string creator;   // the Creator text without its quotes
  std::vector<std::string> entities;
  bool security = false;  // override proc_program_security ... ON
  std::vector<ISCBlockSummary> blocks;
  bool hasFileChecksum = false;  // four hex digits follow the closing parenthesis
  unsigned short storedFileChecksum = 0;
  unsigned short computedFileChecksum = 0;  // CRC-16 of the text before those digits
};

// Reads an ISC data file into summary, row widths taken from its size comments. Result 0; -2 the
// file cannot be opened, does not open with "IEEE_1532_Data (", or holds an unknown keyword;
// -13 a syntax error inside a block (a row with too many or too few digits, a character that is
// not a hex digit); -16 the file ends early; -6 null summary. What was read before a failure is
// left in summary.
FUSEKIT_API int GetISCSummary(const char* fileName, ISCSummary* summary);

// Compares an ISC data file read back from a device (readFile) with the one meant to be
// programmed, block by block, row by row and bit by bit, each block under its "_mask" block
// where one exists, and writes the report to reportFile (docs/compare.md): header texts that
// differ (not counted), each differing row with its columns marked "+" (read 1) or "-" (read
// 0), the data_CRC and file checksum verdicts of both files. Result: the number of differing
// bits; -1 a file cannot be opened; -2 the files cannot be compared (not ISC data files, other
// devices, blocks of another name or shape; the cause is in the report); -6 a null name; -19
// the report could not be written whole.
FUSEKIT_API int fnISCFileCompare(const char* readFile, const char* referenceFile,
                                 const char* reportFile);

#endif  // FUSEKIT_ISC_H
