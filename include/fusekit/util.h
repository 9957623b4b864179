// Utility library: texts, owning lists, byte rows, the log file, hex-digit helpers and the
// CCITT CRC-16 used for file checksums.
#ifndef FUSEKIT_UTIL_H
#define FUSEKIT_UTIL_H

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "fusekit/export.h"

// A text with the find, cut, trim, case and compare operations the library needs.
// Positions are zero-based; a search that fails gives -1.
class FUSEKIT_API KvCString {
 public:
  KvCString();
  KvCString(const char* text);  // NOLINT: implicit on purpose, texts are passed as C strings
  KvCString(const char* text, std::size_t length);
  KvCString(const KvCString& other);
  KvCString& operator=(const KvCString& other);
  KvCString& operator=(const char* text);
  KvCString& operator+=(const char* text);
  KvCString& operator+=(char c);
  virtual ~KvCString();

  const char* GetString() const;
  operator const char*() const { return GetString(); }
  int GetLength() const;
  bool IsEmpty() const;
  void Empty();
  char GetAt(int index) const;  // '\0' outside the text

  int Find(char c, int start = 0) const;
  int Find(const char* sub, int start = 0) const;
  int ReverseFind(char c) const;
  KvCString Left(int count) const;
  KvCString Right(int count) const;
  KvCString Mid(int first, int count = -1) const;

  // Blanks, tabs, carriage returns and line feeds are trimmed.
  KvCString& Trim();
  KvCString& TrimLeft();
  KvCString& TrimRight();
  KvCString& MakeUpper();
  KvCString& MakeLower();

  // strcmp-like: negative, zero or positive.
  int Compare(const char* other) const;
  int CompareNoCase(const char* other) const;
  bool operator==(const char* other) const { return Compare(other) == 0; }
  bool operator!=(const char* other) const { return Compare(other) != 0; }

 private:
  std::string text_;
};

// The plain text type of the host interface; it has every operation of KvCString.
class FUSEKIT_API KvString : public KvCString {
 public:
  using KvCString::KvCString;
  using KvCString::operator=;
  KvString() = default;
  ~KvString() override;
};

// Base of every object that a KvObjList can own.
class FUSEKIT_API KvObject {
 public:
  virtual ~KvObject();
};

// An ordered list that owns its objects and deletes them with itself.
class FUSEKIT_API KvObjList {
 public:
  KvObjList();
  KvObjList(const KvObjList&) = delete;
  KvObjList& operator=(const KvObjList&) = delete;
  virtual ~KvObjList();

  // Takes ownership; returns false (and deletes the object) when memory runs out.
  bool AddTail(KvObject* object);
  // Zero-based; null outside the list.
  KvObject* GetAt(int index) const;
  int GetCount() const;
  bool IsEmpty() const;
  void RemoveAll();

 private:
  std::vector<std::unique_ptr<KvObject>> objects_;
};

// One row of a data field: bytes appended one at a time and read or overwritten by index.
// Rows of up to 16 bytes (the common 128-bit rows) are held inside the object itself, so a field
// of a million short rows costs no allocation per row, and the object is kept to 24 bytes since
// a large field holds millions of them.
class FUSEKIT_API KvByteBuffer {
 public:
  KvByteBuffer();
  KvByteBuffer(const KvByteBuffer& other);
  KvByteBuffer& operator=(const KvByteBuffer& other);
  ~KvByteBuffer();

  // Appends one byte; nonzero on success, zero when memory runs out.
  int WriteData(unsigned char byte);
  // Appends count bytes at once; nonzero on success, zero (and nothing appended) when memory
  // runs out.
  int AppendData(const unsigned char* bytes, unsigned int count);
  // Overwrites the byte at index. An index past the end leaves the row unchanged and still
  // reports success, so a fixed-width row cannot be stretched by a stray write.
  int WriteData(int index, unsigned char byte);
  // The byte at index, or 0 outside the row.
  unsigned char ReadData(int index) const;
  int GetDataSize() const;
  unsigned int GetTotalSize() const;

  // Contiguous view of the bytes (null when empty), for code that walks whole rows.
  const unsigned char* GetBuffer() const;
  // The same bytes for writing in place (null when empty); valid until the buffer grows.
  unsigned char* GetWritableBuffer();
  // Reserves room for count bytes ahead of appends; false when memory runs out.
  bool Reserve(unsigned int count);

 private:
  friend class SVFDataField;
  static constexpr unsigned int kInlineBytes = 16;
  // Set in capacity_ when data_ is storage lent by the field that holds the row, which frees
  // it; the row never does.
  static constexpr unsigned int kLent = 0x80000000u;
  bool Grow(unsigned int needed);
  unsigned int Capacity() const { return capacity_ & ~kLent; }
  // The bytes live in inline_ exactly while the capacity is kInlineBytes.
  bool IsInline() const { return capacity_ == kInlineBytes; }
  bool OwnsHeapBlock() const { return !IsInline() && (capacity_ & kLent) == 0; }
  unsigned char* Bytes() { return IsInline() ? inline_ : heap_; }
  const unsigned char* Bytes() const { return IsInline() ? inline_ : heap_; }
  // Takes storage of capacity bytes (fewer than kLent) lent by the field, for an empty row.
  void UseLentStorage(unsigned char* storage, unsigned int capacity);

  union {
    unsigned char inline_[kInlineBytes];  // storage of short rows
    unsigned char* heap_;                 // lent storage or a heap block
  };
  unsigned int size_;      // bytes held
  unsigned int capacity_;  // bytes the storage can hold, with kLent
};

// A log file opened by name and mode. An empty name, or a file that cannot be opened, logs
// nowhere; writing is then a no-op.
class FUSEKIT_API KvLog {
 public:
  KvLog();
  KvLog(const KvLog&) = delete;
  KvLog& operator=(const KvLog&) = delete;
  virtual ~KvLog();

  bool Open(const char* fileName, const char* mode);
  void Close();
  bool IsOpen() const;
  // printf-style; each message is flushed so that a crash of the host keeps what was logged.
  void WriteMessage(const char* format, ...)
#if defined(__GNUC__)
      __attribute__((format(printf, 2, 3)))
#endif
      ;

 private:
  std::FILE* file_;
};

// Bounded copy and append: never write more than destSize bytes and always terminate the text
// (when destSize is at least 1). A null source counts as "". Return dest.
FUSEKIT_API char* util_strncpy(char* dest, const char* src, std::size_t destSize);
FUSEKIT_API char* util_strncat(char* dest, const char* src, std::size_t destSize);
// Value 0 to 15 of a hex digit (0-9, A-F, a-f); any other character gives 0.
FUSEKIT_API unsigned char util_HexAnsi2Hex(char digit);
// Upper-case hex digit of the low four bits of value.
FUSEKIT_API char util_Hex2HexAnsi(unsigned char value);
// Zero-based position of the first occurrence of sub in text, comparing with regard to case,
// or -1 when it does not occur (or either text is null). An empty sub is found at 0.
FUSEKIT_API int FindSubString(const char* text, const char* sub);

// CRC-16/CCITT-FALSE (polynomial 0x1021, initial value 0xFFFF, no reflection, no final XOR) over
// bytes fed one at a time. The state is process-wide: one computation at a time.
FUSEKIT_API void init_crc_ccitt();
// Feeds the byte that the pointer addresses; flag is accepted and ignored.
FUSEKIT_API void get_crc_ccitt(char* byte, bool flag);
// The CRC of the bytes fed since init_crc_ccitt, without resetting it.
FUSEKIT_API unsigned short return_crc_ccitt();

#endif  // FUSEKIT_UTIL_H
