// The bitstream model library: configuration bitstreams, read-back bitstreams and read-back masks
// of the FPGA families, in their binary and ASCII forms, parsed into frames by a command table
// that the device record carries, and written back by a generator. The format is described in
// docs/bitstream-format.md.
#ifndef FUSEKIT_BITSTREAM_MODEL_H
#define FUSEKIT_BITSTREAM_MODEL_H

#include <cstddef>
#include <string>
#include <vector>

#include "fusekit/devicedb.h"
#include "fusekit/export.h"
#include "fusekit/progdata.h"
#include "fusekit/util.h"

// Results of the model library: 0 or one of these.
enum XFPResult {
  kXFPOk = 0,
  kXFPCannotOpen = -40,        // the file cannot be opened
  kXFPNoHeader = -41,          // the binary form does not begin with 0xFF 0x00 (after lead-ins)
  kXFPHeaderNotClosed = -42,   // no 0xFF closes the comment block
  kXFPCommentNotEnded = -43,   // the last comment entry has no NUL
  kXFPNoSync = -44,            // the preamble is not followed by the synchronisation word
  kXFPUnknownCommand = -45,    // an opcode the command table does not have
  kXFPTruncatedCommand = -46,  // a command runs past the end of the file
  kXFPBadCommandTable = -47,   // the device's command table cannot be read
  kXFPNoData = -48,            // the ASCII form has no data lines
  kXFPNullArgument = -49,
  kXFPCannotWrite = -50,   // the generator cannot write its file
  kXFPUnknownFrame = -51,  // the generator meets a frame the command table does not name
  kXFPWriteFailed = -52,   // the generator's file could not be written whole (disk full, I/O)
};

// What a model was parsed from.
enum XFPModelKind { kXFPConfig = 0, kXFPReadBack = 1, kXFPReadBackMask = 2 };

// One component of a frame: its name and bytes, and its size in bits (a component sized by a
// bit length of the device record may end inside its last byte).
class FUSEKIT_API XFPFrameComponentModel {
 public:
  XFPFrameComponentModel();
  XFPFrameComponentModel(const char* name, const unsigned char* bytes, unsigned int byteSize,
                         unsigned int bitSize);
  const char* GetName() const;
  unsigned int GetByteSize() const;
  unsigned int GetBitSize() const;
  // The byte at index, 0 outside the component.
  unsigned char GetByte(unsigned int index) const;
  const unsigned char* GetBytes() const;

 private:
  std::string name_;
  std::vector<unsigned char> bytes_;
  unsigned int bit_size_ = 0;
};

// One command of the stream: its frame name, opcode and components. The first component is
// always "CommandInfo", the three operand bytes that follow the opcode.
class FUSEKIT_API XFPFrameModel {
 public:
  XFPFrameModel();
  XFPFrameModel(const char* name, int opcode);
  const char* GetName() const;
  int GetOpcode() const;
  unsigned int GetComponentCount() const;
  // Null outside 0 to count - 1.
  const XFPFrameComponentModel* GetComponent(unsigned int index) const;
  // The first component of that name, or null.
  const XFPFrameComponentModel* FindComponent(const char* name) const;
  void AddComponent(const XFPFrameComponentModel& component);
  void AddComponent(XFPFrameComponentModel&& component);
  // Room for count components, so that adding them moves none.
  void ReserveComponents(unsigned int count);

 private:
  std::string name_;
  int opcode_ = 0;
  std::vector<XFPFrameComponentModel> components_;
};

// A parsed bitstream: lead-ins, comment block, and frames.
class FUSEKIT_API XFPBitstreamModel {
 public:
  XFPBitstreamModel();
  virtual ~XFPBitstreamModel();
  XFPBitstreamModel(const XFPBitstreamModel&);
  XFPBitstreamModel& operator=(const XFPBitstreamModel&);

  // Back to an empty model of no device.
  void Clear();
  // The number of frames.
  unsigned int GetSize() const;
  int GetKind() const;
  // The comment entries ("Key: value"), one a line, each ended by a line feed.
  const char* GetComment() const;
  // The comment block as the file holds it: every entry with its NUL.
  const KvByteBuffer& GetVerbatimComment() const;
  bool IsEncrypted() const;
  bool IsCompressed() const;
  bool IsAuthenticated() const;
  // The "CRVN" marker was before the header.
  bool HasMarker() const;
  // The eight-byte lead-in block (00 01 00 04 and four bytes), empty when there was none.
  const KvByteBuffer& GetLeadIn() const;

  unsigned int GetFrameCount() const;
  const XFPFrameModel* GetFrame(unsigned int index) const;
  // The first frame of that name, or null.
  const XFPFrameModel* FindFrame(const char* name) const;
  // The first component of that name in the first frame of that name, or null.
  const XFPFrameComponentModel* FindComponent(const char* frameName,
                                              const char* componentName) const;

  // The frames' data as programming data: rows of "FuseArray_TDI" (configuration),
  // "FuseArray_TDO" (read-back) or "FuseArray_MASK" (mask), one per "Data Frame" and
  // "eDataFrame", and "Usercode_TDI" from the usercode frame of a configuration. The plain form
  // keeps each frame's bytes in order; the SRAM form lays each row out from its last byte down,
  // each byte bit-reversed; the Vorsk form is the plain one with the firmware patch data as one
  // "Firmware_FuseArray_TDI" row. False when a field or row cannot be added.
  bool GetSVFPlusData(SVFPlusData* data) const;
  bool GetPelmo2_SRAM_SVFPlusData(SVFPlusData* data) const;
  bool GetVorskSVFPlusData(SVFPlusData* data) const;

  // The length in bytes of the header segment as the generator writes it: the lead-ins, 0xFF,
  // 0x00 and the comment block. Recomputed from the model and returned.
  unsigned int UpdateBitstreamHeaderSegmentLength();

  // Building a model (the factory and the tests): the device whose command table and lengths
  // apply, the kind, comment entries, lead-ins and frames.
  void SetDevice(const DeviceInfo& device);
  const DeviceInfo& GetDevice() const;
  void SetKind(int kind);
  void AddCommentEntry(const char* entry);
  void SetMarker(bool present);
  void SetLeadIn(const unsigned char* fourBytes);
  void AddFrame(const XFPFrameModel& frame);
  // Parses a file in the binary or, when ascii is true, the ASCII form for the device set.
  // Returns 0 or an XFPResult; messages go to log when it is open.
  int Parse(const char* fileName, bool ascii, KvLog* log);
  // Parse that stores only the frames named in keptFrames, a list ended by a null (every frame
  // when keptFrames is null). The other frames are checked and passed over without being
  // copied, and still count for IsEncrypted, IsCompressed and IsAuthenticated; GetSize counts
  // the frames stored. For callers that want a few frames of a large stream.
  int Parse(const char* fileName, bool ascii, KvLog* log, const char* const* keptFrames);
  // Sees the bytes of a file as a parse reads it: count bytes from bytes on, in file order.
  using ByteObserver = void (*)(void* context, const unsigned char* bytes, std::size_t count);
  // Parse, keeping the frames keptFrames names, that shows observe (with context) every byte of
  // the file once, in order, as it reads it: once the file is open, the bytes the parse does not
  // need, or that follow an error, are read for it, and a last call with count 0 marks the end
  // of the file. A caller that also wants the raw bytes thus reads the file once.
  int Parse(const char* fileName, bool ascii, KvLog* log, const char* const* keptFrames,
            ByteObserver observe, void* context);

 private:
  bool ExtractInto(SVFPlusData* data, bool sram, bool firmware) const;

  DeviceInfo device_;
  int kind_ = kXFPConfig;
  std::string comment_;
  KvByteBuffer verbatim_;
  KvByteBuffer lead_in_;
  bool marker_ = false;
  bool encrypted_ = false;
  bool compressed_ = false;
  bool authenticated_ = false;
  unsigned int header_segment_length_ = 0;
  std::vector<XFPFrameModel> frames_;
};

// A writer of memory images, made by XFPObjectFactory::CreateGenerateFileObject.
class FUSEKIT_API XFPGenerateFileObject {
 public:
  virtual ~XFPGenerateFileObject();
  // Writes size bytes as an image whose first byte is at startAddress. 0 or an XFPResult.
  virtual int WriteImage(const char* fileName, const unsigned char* bytes, unsigned long size,
                         unsigned int startAddress) = 0;
};

// Makes models of files: the binary form for ".bit", ".rbk", ".msk" (any case), the ASCII form
// for ".rbt", ".rbka", ".mska" and every other name. The two texts are accepted and not used.
class FUSEKIT_API XFPObjectFactory {
 public:
  static int CreateConfigBitstreamModel(XFPBitstreamModel& model, DeviceInfo& device, KvLog& log,
                                        const char* fileName, const char* unused1,
                                        const char* unused2);
  static int CreateReadBackBitstreamModel(XFPBitstreamModel& model, DeviceInfo& device, KvLog& log,
                                          const char* fileName, const char* unused1,
                                          const char* unused2);
  static int CreateReadBackMaskBitstreamModel(XFPBitstreamModel& model, DeviceInfo& device,
                                              KvLog& log, const char* fileName, const char* unused1,
                                              const char* unused2);
  // The image writer of a kind ("Intel Hex"), owned by the caller; null for another kind.
  static XFPGenerateFileObject* CreateGenerateFileObject(const char* kind);
};

// The header a generator writes: the comment entries, the device, and the header segment
// length (the comment block is padded with NULs up to it).
class FUSEKIT_API XFPHeader {
 public:
  XFPHeader();
  void SetDeviceProperties(const DeviceInfo& device);
  void SetHeaderSegmentLen(unsigned int length);
  // The comment as entries, one a line ("Key: value").
  void SetBitstreamHeader(const char* comment);
  unsigned int GetHeaderSegmentLen() const;
  const char* GetBitstreamHeader() const;
  const DeviceInfo& GetDeviceProperties() const;

 private:
  DeviceInfo device_;
  unsigned int segment_length_ = 0;
  std::string comment_;
};

// Writes a model as a bitstream file.
class FUSEKIT_API XFPGenerateBitstream {
 public:
  // The binary form: lead-ins, the header's comment block, the preamble and synchronisation
  // word, then every frame with the opcode of its name in the command table of the header's
  // device. 0 or an XFPResult.
  static int Generate(const XFPBitstreamModel& model, const XFPHeader& header,
                      const char* fileName);
  // The same with the model's own comment and device.
  static int Generate(const XFPBitstreamModel& model, const char* fileName);
  // The ASCII form of the same stream: the banner, lead-in lines, the comment entries as lines,
  // then the bits of the body, 32 to a line.
  static int GenerateAscii(const XFPBitstreamModel& model, const char* fileName);
  // Rewrites a bitstream file in the other form, without a device: a binary input (".bit",
  // ".rbk", ".msk", any case) becomes the ASCII form and any other input the binary form. The
  // lead-ins, comment entries and body bytes are carried over as they are.
  static int ConvertForm(const char* inFile, const char* outFile);
};

// The comment of a bitstream file, read without a device.
class FUSEKIT_API XFPBitstreamFile {
 public:
  XFPBitstreamFile();
  // Reads the comment entries of a binary (".bit", ".rbk", ".msk") or ASCII file. 0 or an
  // XFPResult.
  int OpenFile(const char* fileName);
  const char* GetComment() const;

 private:
  std::string comment_;
};

#endif  // FUSEKIT_BITSTREAM_MODEL_H
