// fnJEDFileCompare: a JEDEC file checked fuse by fuse against a reference, written as a report
// laid out like a JEDEC file with every differing fuse marked.
#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif
#include <memory>
#include <new>
#include <string>
#include <utility>

#include "core/file_io.h"
#include "core/status.h"
#include "fusekit/jedec.h"
#include "jedec/field_stream.h"
#include "jedec/jedec_format.h"
#include "support/util/reused_block.h"
#include "support/util/side_task.h"

namespace fusekit::jedec {
namespace {

// Differing fuses of the comparison in progress (one comparison at a time).
int g_differing_fuses = 0;

constexpr int kAbandoned = -2;

// The report, written through a large buffer.
class Report {
 public:
  explicit Report(std::FILE* file) : file_(file), buffer_(kBufferBytes), writing_(kBufferBytes) {}
  ~Report() {
    Flush();
    writer_.Wait();
  }
  Report(const Report&) = delete;
  Report& operator=(const Report&) = delete;

  void Put(char c) {
    if (used_ == kBufferBytes) Flush();
    buffer_.Data()[used_++] = static_cast<unsigned char>(c);
  }
  void Put(const char* text) {
    Put(reinterpret_cast<const std::uint8_t*>(text), std::strlen(text));
  }
  void Put(const std::uint8_t* bytes, std::size_t count) {
    if (kBufferBytes - used_ < count) Flush();
    if (count > kBufferBytes) {
      writer_.Wait();
      std::fwrite(bytes, 1, count, file_);
      return;
    }
    std::memcpy(buffer_.Data() + used_, bytes, count);
    used_ += count;
  }
  // "*", a line feed and "L" with the address in eight digits and a blank: the line of a further
  // fuse-list field, written for every line of a long list, so without printf.
  void PutFuseListStart(unsigned long address) {
    char line[32] = "*\nL";
    char digits[24];
    int n = 0;
    do {
      digits[n++] = static_cast<char>('0' + address % 10);
      address /= 10;
    } while (address != 0);
    int at = 3;
    for (int pad = n; pad < 8; ++pad) line[at++] = '0';
    while (n > 0) line[at++] = digits[--n];
    line[at++] = ' ';
    Put(reinterpret_cast<const std::uint8_t*>(line), static_cast<std::size_t>(at));
  }

  void Printf(const char* format, ...)
#if defined(__GNUC__)
      __attribute__((format(printf, 2, 3)))
#endif
  {
    char line[1024];
    va_list args;
    va_start(args, format);
    std::vsnprintf(line, sizeof line, format, args);
    va_end(args);
    Put(line);
  }
  // Hands the buffer to the writer, once it has written the one before, and goes on in that
  // one: a report as long as the file is written beside the compare, not in its time.
  void Flush() {
    if (used_ == 0) return;
    writer_.Wait();
    std::swap(buffer_, writing_);
    const std::size_t count = used_;
    used_ = 0;
    writer_.Post([this, count] { std::fwrite(writing_.Data(), 1, count, file_); });
  }

 private:
  static constexpr std::size_t kBufferBytes = 1 << 20;
  std::FILE* file_;
  util::ReusedBlock buffer_;   // being filled
  util::ReusedBlock writing_;  // the writer's, until it has written it
  std::size_t used_ = 0;       // bytes of buffer_ not yet handed over
  util::SerialWorker writer_;  // last, so that it stops before the buffers go
};

bool IsDigit01(int c) {
  return c == '0' || c == '1';
}

// Blanks, then a number in base 10 or 16 ("%lu", "%lx", "%d"); the first other character is
// left unread. 0 without digits.
unsigned long ReadNumber(core::TextReader& in, int base) {
  unsigned long value = 0;
  bool in_blanks = true;
  // Straight from the reader's windows (blanks and digits may span two of them); the value
  // wraps as "%lu" does.
  for (;;) {
    const std::uint8_t* p = in.WindowBegin();
    const std::uint8_t* const end = in.WindowEnd();
    if (p == end) return value;
    if (in_blanks) {
      while (p != end && IsBlank(*p)) ++p;
      in_blanks = p == end;
    }
    while (p != end && (base == 16 ? IsHexDigit(*p) : IsDecimalDigit(*p))) {
      value = value * static_cast<unsigned long>(base) + static_cast<unsigned long>(HexValue(*p));
      ++p;
    }
    in.Consume(p);
    if (p != end) return value;
  }
}

bool SkipToDesignEnd(core::TextReader& in) {
  return SkipToStx(in) && SkipField(in);
}

struct WalkFlags {
  bool fuse_list = false;
  bool e_field = false;
  bool u_field = false;
  bool checksum = false;

  void Note(int letter) {
    fuse_list |= letter == kFuseList;
    e_field |= letter == kArchitecture;
    u_field |= letter == kUsercode;
    checksum |= letter == kChecksum;
  }
};

class Comparison {
 public:
  // Both files stand right after their design fields.
  Comparison(core::TextReader& read, core::TextReader& ref, const char* read_name,
             const char* ref_name, Report& report)
      : read_(read),
        ref_(ref),
        read_name_(read_name),
        ref_name_(ref_name),
        out_(report),
        ref_known_end_(ref.Tell()) {}

  // The walk of the file under test; the count of differing fuses or kAbandoned.
  int Run() {
    int letter = ReadLetter(read_);
    for (;;) {
      if (letter == kEtx) return Finish();
      if (letter == EOF || !IsValidChar(letter)) {
        out_.Put("Cannot read end jedec character. Invalid Jedec file.\n");
        return kAbandoned;
      }
      int next = 0;  // a letter handed back by the fuse-list comparison
      const int status = Dispatch(letter, next);
      if (status != 0 || next == kAbandonLetter) return kAbandoned;
      letter = next != 0 ? next : ReadLetter(read_);
    }
  }

 private:
  int Dispatch(int letter, int& next) {
    switch (letter) {
      case kChecksum:
        return CompareChecksum();
      case kFuseDefault:
      case kSecurity:
        out_.Printf("%c%d*\n", letter, static_cast<int>(ReadNumber(read_, 10)));
        return SkipField(read_) ? 0 : kAbandoned;
      case kQuantity:
        return CompareQuantity();
      case kFuseList:
        return CompareFuseList(next);
      case kArchitecture:
      case kUsercode:
        return CompareBitField(letter);
      default:
        return SkipField(read_) ? 0 : kAbandoned;
    }
  }

  // The reference's next field letter. Every field letter of the reference is read here, so
  // the letters of its fields up to the furthest point reached are known without reading it
  // again: the C lookup and the closing check start from there.
  int RefLetter() {
    if (ref_letter_pending_ != 0) {
      const int c = ref_letter_pending_;
      ref_letter_pending_ = 0;
      return c;
    }
    const int c = ReadLetter(ref_);
    NoteRefLetter(c, ref_.Tell());
    return c;
  }

  // The reference's letter c has been read, up to offset: the furthest point read moves on.
  void NoteRefLetter(int c, std::uint64_t offset) {
    if (offset <= ref_known_end_) return;
    ref_known_end_ = offset;
    ref_letter_read_ = true;
    ref_seen_.Note(c);
    ref_walk_ended_ = c == EOF || c == kEtx || !IsValidChar(c);
  }

  // Reads the reference's fields up to the field `letter` (with `second` as its second letter
  // for Q fields), skipping the others. Positioned after the letters when found.
  bool FindField(int letter, int second = 0) {
    for (;;) {
      const int c = RefLetter();
      if (c == EOF || c == kEtx || !IsValidChar(c)) return false;
      if (c == letter && (second == 0 || AsciiUpper(ref_.Peek()) == second)) {
        if (second != 0) ref_.Get();
        return true;
      }
      if (!SkipField(ref_)) return false;
    }
  }

  // Moves the reference to the furthest point read, ready for its next field letter; false
  // when its field walk has already ended there.
  bool ResumeRefWalk() {
    if (ref_letter_pending_ != 0) return true;  // read at the furthest point, handed out next
    ref_.Seek(ref_known_end_);
    if (ref_walk_ended_) return false;
    return !ref_letter_read_ || SkipField(ref_);  // before any letter: at a field's start
  }

  int CompareChecksum() {
    const unsigned long mine = ReadNumber(read_, 16);
    // The reference's first C field: read again from the start when one was passed already,
    // else looked for from the furthest point reached, which finds the same field.
    bool found;
    if (ref_seen_.checksum) {
      ref_letter_pending_ = 0;
      ref_.Rewind();
      found = SkipToDesignEnd(ref_) && FindField(kChecksum);
    } else {
      found = ResumeRefWalk() && FindField(kChecksum);
    }
    unsigned long theirs = 0;
    if (found) {
      theirs = ReadNumber(ref_, 16);
      SkipField(ref_);
    }
    if (mine != theirs) {
      out_.Printf("read C%.4lX from [%s], but [%s] specified C%.4lX*\n", mine, read_name_,
                  ref_name_, theirs);
    }
    out_.Put("N Checksum*\n");
    out_.Printf("C%.4lX*\n", mine);
    return SkipField(read_) ? 0 : kAbandoned;
  }

  int CompareQuantity() {
    const int which = AsciiUpper(read_.Peek());
    if (which == 'F') {
      read_.Get();
      const unsigned long mine = ReadNumber(read_, 10);
      const unsigned long theirs = FindField(kQuantity, 'F') ? ReadNumber(ref_, 10) : 0;
      if (mine != theirs) {
        out_.Printf("read QF%lu from [%s], but [%s] specified QF%lu*\n", mine, read_name_,
                    ref_name_, theirs);
        return kAbandoned;
      }
      out_.Printf("QF%lu*\n", mine);
      return SkipField(read_) && SkipField(ref_) ? 0 : kAbandoned;
    }
    if (which == 'P') {
      read_.Get();
      const unsigned long mine = ReadNumber(read_, 10);
      if (!FindQuantityPins()) {
        out_.Printf("read QP%lu from [%s], but [%s] missing QP field\n", mine, read_name_,
                    ref_name_);
      } else {
        const unsigned long theirs = ReadNumber(ref_, 10);
        if (mine != theirs) {
          out_.Printf("read QP%lu from [%s], but [%s] specified QP%lu*\n", mine, read_name_,
                      ref_name_, theirs);
        } else {
          out_.Printf("QP%d*\n", static_cast<int>(mine));
        }
        SkipField(ref_);
      }
    }
    return SkipField(read_) ? 0 : kAbandoned;
  }

  // The reference's QP field, looked for up to its QF field, which stays unread.
  bool FindQuantityPins() {
    for (;;) {
      const std::uint64_t field_start = ref_.Tell();
      const int c = RefLetter();
      if (c == EOF || c == kEtx || !IsValidChar(c)) return false;
      if (c == kQuantity) {
        const int second = AsciiUpper(ref_.Peek());
        if (second == 'P') {
          ref_.Get();
          return true;
        }
        if (second == 'F') {
          ref_.Seek(field_start);
          return false;
        }
      }
      if (!SkipField(ref_)) return false;
    }
  }

  int CompareFuseList(int& next) {
    flags_.fuse_list = true;
    const unsigned long mine = ReadNumber(read_, 10);
    if (!FindField(kFuseList)) return MissingFuseList(ref_name_);
    ref_flags_.fuse_list = true;
    const unsigned long theirs = ReadNumber(ref_, 10);
    if (mine != theirs) {
      out_.Printf("read L%.8lu from [%s], but [%s] specified L%.8lu*\n", mine, read_name_,
                  ref_name_, theirs);
      return kAbandoned;
    }
    out_.Printf("\nL%.8lu \n", mine);
    return CompareDigits(next);
  }

  int MissingFuseList(const char* name) {
    out_.Printf("File %s cannot find L field. Invalid Jedec*\n", name);
    return kAbandoned;
  }

  // The next character of the file under test that is not blank; its line feeds are echoed.
  int NextReadChar() {
    for (;;) {
      const int c = read_.Get();
      if (c == '\n') {
        out_.Put('\n');
      } else if (c == EOF || !IsBlank(c)) {
        return c == EOF ? EOF : AsciiUpper(c);
      }
    }
  }

  // The next fuse character of the reference, moving on through its note and fuse-list fields.
  int NextRefChar() {
    if (pending_ref_char_ != 0) {
      const int c = pending_ref_char_;
      pending_ref_char_ = 0;
      return c;
    }
    for (;;) {
      int c;
      do {
        c = ref_.Get();
      } while (c != EOF && IsBlank(c));
      if (c != kFieldEnd) return c == EOF ? EOF : AsciiUpper(c);
      const int letter = RefLetter();
      if (letter == kNote) {
        if (!SkipField(ref_)) return EOF;
        continue;
      }
      if (letter != kFuseList) return letter;
      out_.PutFuseListStart(ReadNumber(ref_, 10));
    }
  }

  // Marks one fuse: the digit when both agree, "+" or "-" when they do not.
  void Mark(int mine, int theirs) {
    if (mine == theirs) {
      out_.Put(static_cast<char>(mine));
    } else {
      out_.Put(mine == '1' ? '+' : '-');
      ++g_differing_fuses;
    }
  }

  // Runs of plain fuse digits in both windows, compared sixteen at a time: equal runs are
  // copied to the report whole. False when the next sixteen characters of either file are not
  // all fuse digits (the caller then goes character by character).
  bool CompareRun() {
    const std::uint8_t* r = read_.WindowBegin();
    const std::uint8_t* f = ref_.WindowBegin();
    const std::uint8_t* const r_end = read_.WindowEnd();
    const std::uint8_t* const f_end = ref_.WindowEnd();
    const std::uint8_t* const r_start = r;
    const std::uint8_t* const f_start = f;
    const std::uint64_t f_start_offset = ref_.Tell();
    // Blanks before the digits (the one after an L field's address) are passed over here; line
    // feeds are left to the caller, which echoes them.
    while (r != r_end && (*r == ' ' || *r == '\t')) ++r;
    while (f != f_end && (*f == ' ' || *f == '\t')) ++f;
    // Equal digits go to the report a whole run at once, not sixteen at a time.
    const std::uint8_t* equal_from = r;
    while (r_end - r >= 16 && f_end - f >= 16) {
      const int same = SameDigits16(r, f);
      if (same < 0) {
        const std::size_t turn = ref_letter_pending_ == 0 && pending_ref_char_ == 0
                                     ? AlikeLineTurn(r, r_end, f, f_end)
                                     : 0;
        if (turn == 0) break;
        // As the walk through the field's end and the next field's start would: the reference
        // has read the letter of a further fuse list.
        const std::uint8_t* const after_letter = f + turn - kAddressDigits - 1;
        NoteRefLetter(kFuseList,
                      f_start_offset + static_cast<std::uint64_t>(after_letter - f_start));
        r += turn;
        f += turn;
        continue;
      }
      if (same == 0) {
        out_.Put(equal_from, static_cast<std::size_t>(r - equal_from));
        for (int i = 0; i < 16; ++i) Mark(r[i], f[i]);
        equal_from = r + 16;
      }
      r += 16;
      f += 16;
    }
    out_.Put(equal_from, static_cast<std::size_t>(r - equal_from));
    // The rest of the run, a digit at a time, still straight from the windows.
    while (r != r_end && f != f_end && IsDigit01(*r) && IsDigit01(*f)) Mark(*r++, *f++);
    read_.Consume(r);
    ref_.Consume(f);
    return r != r_start;
  }

  // Where a run of fuse digits ends alike in both files at the end of one L field and the start
  // of the next on the following line: the digits left, "*", a line feed, "L", an address of
  // eight digits, a blank, then a fuse digit. Such text is what the walk through the field's
  // end and the next field's start writes to the report (an address of eight digits is written
  // as it stands), so it is passed over whole. The count of its bytes up to the fuse digit;
  // 0 when either file holds anything else there, or holds it otherwise.
  static constexpr std::size_t kAddressDigits = 8;
  static std::size_t AlikeLineTurn(const std::uint8_t* r, const std::uint8_t* r_end,
                                   const std::uint8_t* f, const std::uint8_t* f_end) {
    std::size_t k = 0;  // the digits left
    while (r + k != r_end && IsDigit01(r[k])) ++k;
    const std::size_t turn = k + 3 + kAddressDigits + 1;
    if (static_cast<std::size_t>(r_end - r) <= turn || static_cast<std::size_t>(f_end - f) <= turn)
      return 0;
    if (r[k] != kFieldEnd || r[k + 1] != '\n' || r[k + 2] != 'L' || r[turn - 1] != ' ' ||
        !IsDigit01(r[turn]))
      return 0;
    for (std::size_t i = k + 3; i < turn - 1; ++i) {
      if (!IsDecimalDigit(r[i])) return 0;
    }
    return std::memcmp(r, f, turn + 1) == 0 ? turn : 0;
  }

  // Sixteen characters of each file: 1 when all are fuse digits and the two runs are equal, 0
  // when all are fuse digits and they differ, -1 when one is not a fuse digit.
  static int SameDigits16(const std::uint8_t* r, const std::uint8_t* f) {
#if defined(__SSE2__)
    const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(r));
    const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(f));
    const __m128i high = _mm_set1_epi8(static_cast<char>(0xFE));
    const __m128i digits = _mm_set1_epi8('0');
    const __m128i both = _mm_and_si128(_mm_cmpeq_epi8(_mm_and_si128(a, high), digits),
                                       _mm_cmpeq_epi8(_mm_and_si128(b, high), digits));
    if (_mm_movemask_epi8(both) != 0xFFFF) return -1;
    return _mm_movemask_epi8(_mm_cmpeq_epi8(a, b)) == 0xFFFF ? 1 : 0;
#else
    if (!AllDigits16(r) || !AllDigits16(f)) return -1;
    return std::memcmp(r, f, 16) == 0 ? 1 : 0;
#endif
  }

  static bool AllDigits16(const std::uint8_t* p) {
    std::uint64_t a;
    std::uint64_t b;
    std::memcpy(&a, p, 8);
    std::memcpy(&b, p + 8, 8);
    constexpr std::uint64_t kHigh = 0xFEFEFEFEFEFEFEFEull;  // all but the digit's low bit
    constexpr std::uint64_t kDigits = 0x3030303030303030ull;
    return (((a & kHigh) ^ kDigits) | ((b & kHigh) ^ kDigits)) == 0;
  }

  int CompareDigits(int& next) {
    for (;;) {
      if (CompareRun()) continue;
      const int mine = NextReadChar();
      if (mine == kFieldEnd) {
        const int after = AfterFuseField();
        if (after == kFuseList) {
          FollowToNextFuseField();
          continue;
        }
        next = after;
        EndRefFuseList();
        return 0;
      }
      const int theirs = NextRefChar();
      if (IsDigit01(mine) && IsDigit01(theirs)) {
        Mark(mine, theirs);
        continue;
      }
      out_.Printf("\nread [%c] value from file1, but file2 specified a [%c]* \n", Shown(mine),
                  Shown(theirs));
      return kSyntaxError;
    }
  }

  // When the file under test moves on to its next L field and the reference ends its field at
  // the same place, the reference follows quietly: one "L" line in the report is enough.
  void FollowToNextFuseField() {
    while (IsBlank(ref_.Peek())) ref_.Get();
    if (ref_.Peek() != kFieldEnd) return;
    ref_.Get();
    for (;;) {
      const int letter = RefLetter();
      if (letter == kNote && SkipField(ref_)) continue;
      if (letter == kFuseList) {
        ReadNumber(ref_, 10);
      } else {
        pending_ref_char_ = letter;  // the reference's list ended: the next comparison says so
      }
      return;
    }
  }

  // The file under test has ended its fuse list and hands a field back to the walk: the
  // reference ends its own list too, so that its next field is the one looked at next (an E or
  // U right after the list included).
  void EndRefFuseList() {
    if (pending_ref_char_ != 0) {  // its list had ended already, and its next letter was read
      ref_letter_pending_ = pending_ref_char_;
      pending_ref_char_ = 0;
      return;
    }
    if (SkipField(ref_) && ref_.Tell() > ref_known_end_) {
      ref_known_end_ = ref_.Tell();  // at the start of its next field
      ref_letter_read_ = false;
    }
  }

  // After the "*" of a fuse list in the file under test: notes are skipped, a further L field
  // goes on with the comparison, anything else ends the list and is handed back to the walk.
  int AfterFuseField() {
    for (;;) {
      const int letter = ReadLetter(read_);
      if (letter == kNote) {
        if (!SkipField(read_)) return EOF;
        continue;
      }
      if (letter == kFuseList) {
        out_.PutFuseListStart(ReadNumber(read_, 10));
        return kFuseList;
      }
      if (letter == EOF || letter == kEtx || !IsValidChar(letter)) return letter;
      out_.Put("*\n");
      if (letter != kChecksum && letter != kArchitecture && letter != kUsercode) {
        return kAbandonLetter;
      }
      return letter;
    }
  }

  // The E and U fields: fuse digits marked as in the fuse list; the U field's "A" and "H" forms
  // compared character by character.
  int CompareBitField(int letter) {
    bool& mine_seen = letter == kArchitecture ? flags_.e_field : flags_.u_field;
    mine_seen = true;
    if (!flags_.fuse_list) return MissingFuseList(read_name_);
    if (!ref_flags_.fuse_list) return MissingFuseList(ref_name_);
    const std::uint64_t ref_position = ref_.Tell();
    const int ref_letter = ref_letter_pending_;
    if (!FindField(letter)) {
      ref_.Seek(ref_position);  // the field is missing there: the closing check reports it
      ref_letter_pending_ = ref_letter;
      return SkipField(read_) ? 0 : kAbandoned;
    }
    out_.Put('\n');
    out_.Put(static_cast<char>(letter));
    bool text_form = false;
    if (letter == kUsercode) {
      while (IsBlank(read_.Peek())) read_.Get();
      while (IsBlank(ref_.Peek())) ref_.Get();
      const int mine = AsciiUpper(read_.Peek());
      const int theirs = AsciiUpper(ref_.Peek());
      text_form = mine == kUsercodeAscii || mine == kUsercodeHex;
      if (text_form || theirs == kUsercodeAscii || theirs == kUsercodeHex) {
        if (mine != theirs) return Differs(read_.Get(), ref_.Get());
        out_.Put(static_cast<char>(read_.Get()));
        ref_.Get();
      }
    }
    for (;;) {
      int mine;
      do {
        mine = read_.Get();
      } while (mine != EOF && IsBlank(mine) && !text_form);
      int theirs;
      do {
        theirs = ref_.Get();
      } while (theirs != EOF && IsBlank(theirs) && !text_form);
      if (mine == kFieldEnd && theirs == kFieldEnd) {
        out_.Put("*\n");
        return 0;
      }
      if (text_form) {
        if (mine != theirs || mine == EOF) return Differs(mine, theirs);
        out_.Put(static_cast<char>(mine));
        continue;
      }
      if (IsDigit01(mine) && IsDigit01(theirs)) {
        Mark(mine, theirs);
        continue;
      }
      if (!IsDigit01(mine)) {
        out_.Printf("\nread invalid [%c] value from file1, but file2 specified a [%c]* \n",
                    Shown(mine), Shown(theirs));
      } else {
        out_.Printf("\nread [%c] value from file1, but file2 specified a invalid [%c]* \n",
                    Shown(mine), Shown(theirs));
      }
      return kSyntaxError;
    }
  }

  int Differs(int mine, int theirs) {
    out_.Printf("\nread [%c] value from file1, but file2 specified a [%c]* \n", Shown(mine),
                Shown(theirs));
    return kSyntaxError;
  }

  static char Shown(int c) {
    return (c == EOF || !IsValidChar(c) || c == '\n') ? '?' : static_cast<char>(c);
  }

  // After ETX: E and U fields present on one side only, and the fuse lists of both.
  int Finish() {
    // Which fields the whole reference holds: those passed already, and the rest of its walk.
    if (ResumeRefWalk()) {
      for (int c; (c = RefLetter()) != EOF && c != kEtx && IsValidChar(c);) {
        if (!SkipField(ref_)) break;
      }
    }
    const WalkFlags& theirs = ref_seen_;
    if (flags_.e_field != theirs.e_field) {
      const bool mine_missing = !flags_.e_field;
      out_.Printf("Cannot read E field from [%s], but [%s] specified an E field*\n",
                  mine_missing ? read_name_ : ref_name_, mine_missing ? ref_name_ : read_name_);
      return kAbandoned;
    }
    if (flags_.u_field != theirs.u_field) {
      const bool mine_missing = !flags_.u_field;
      out_.Printf("Warning: Cannot read U field from [%s], but [%s] specified a U field*\n",
                  mine_missing ? read_name_ : ref_name_, mine_missing ? ref_name_ : read_name_);
    }
    if (!flags_.fuse_list) return MissingFuseList(read_name_);
    if (!theirs.fuse_list) return MissingFuseList(ref_name_);
    return g_differing_fuses;
  }

  // Handed back by the fuse-list comparison for a letter that may not follow a fuse list: the
  // comparison ends without a cause line.
  static constexpr int kAbandonLetter = -100;

  core::TextReader& read_;
  core::TextReader& ref_;
  const char* read_name_;
  const char* ref_name_;
  Report& out_;
  int pending_ref_char_ = 0;         // a reference character read ahead, handed out next
  int ref_letter_pending_ = 0;       // a reference field letter read ahead, handed out next
  WalkFlags ref_seen_;               // letters of the reference's fields up to ref_known_end_
  std::uint64_t ref_known_end_ = 0;  // the furthest point of the reference read
  bool ref_walk_ended_ = false;      // the reference's walk ended there (ETX, end of file)
  bool ref_letter_read_ = false;     // ref_known_end_ is right after a field letter
  WalkFlags flags_;                  // fields seen in the file under test
  WalkFlags ref_flags_;              // fields reached in the reference during the walk
};

std::string TimeText(std::time_t when) {
  const std::tm* local = std::localtime(&when);
  return local != nullptr ? std::asctime(local) : "\n";
}

void WriteHeader(Report& out, const char* read_name, const char* ref_name, const char* report_name,
                 const std::string& date) {
  out.Put("\x02\n");
  out.Printf("FILE NAME:   %s\n", report_name);
  out.Put("CREATED BY:    Corvane Semiconductor Veltrix Deployment Tool\n");
  out.Printf("CREATION DATE: %s\n", date.c_str());
  out.Put("*\n");
  out.Printf("// N => Verify fuse data in %s against [%s]\n", read_name, ref_name);
  out.Put("//Key:\n");
  out.Printf("//\t'-' = read  LOW/0 value from %s, but %s specified a HIGH/1\n\n", read_name,
             ref_name);
  out.Printf("//\t'+' = read HIGH/1 value from %s, but %s specified a  LOW/0\n\n", read_name,
             ref_name);
}

void WriteClosing(Report& out, int result, const std::string& date) {
  out.Put(
      "\x02"
      "0000\n");
  if (result >= 0) {
    out.Printf("*%s*\n", date.c_str());
    out.Printf("%% Error count:  %d*\n", result);
  } else if (g_differing_fuses > 0) {
    out.Printf("*%s*\n", date.c_str());
    out.Printf("%% Bits Error count:  %d*\n", g_differing_fuses);
  }
}

int CompareFiles(const char* read_name, const char* ref_name, const char* report_name,
                 Report& out) {
  const std::string date = TimeText(std::time(nullptr));
  WriteHeader(out, read_name, ref_name, report_name, date);

  core::UniqueFile read_file = core::OpenFile(read_name, "rb");
  if (!read_file) {
    out.Printf("Cannot open file %s to read*\n", read_name);
    return kStatusOpenFailed;
  }
  core::UniqueFile ref_file = core::OpenFile(ref_name, "rb");
  if (!ref_file) {
    out.Printf("Cannot open file %s to read*\n", ref_name);
    return kStatusOpenFailed;
  }
  core::TextReader read(read_file.get());
  core::TextReader ref(ref_file.get());
  for (auto [reader, name] : {std::pair{&read, read_name}, std::pair{&ref, ref_name}}) {
    if (!SkipToStx(*reader)) {
      out.Printf("File %s Invalid Jedec file*\n", name);
      return kStatusNoFuseData;
    }
  }
  g_differing_fuses = 0;
  int result = kAbandoned;
  if (SkipField(read) && SkipField(ref)) {
    result = Comparison(read, ref, read_name, ref_name, out).Run();
  } else {
    out.Put("Cannot read end jedec character. Invalid Jedec file.\n");
  }
  if (result < 0) result = kAbandoned;
  WriteClosing(out, result, date);
  return result;
}

// The comparison with its report written out whole: a report that could not be written in full
// makes the result a write failure, whatever the comparison found.
int CompareFiles(const char* read_name, const char* ref_name, const char* report_name) {
  // The report is written a MiB at a time by its own writer.
  core::UniqueFile report_file = core::OpenForBlocks(report_name, "wb");
  if (!report_file) return kStatusOpenFailed;
  int result;
  {
    Report out(report_file.get());
    result = CompareFiles(read_name, ref_name, report_name, out);
  }
  if (!core::FinishWriting(report_file)) return kStatusWriteFailed;
  return result;
}

}  // namespace
}  // namespace fusekit::jedec

int fnJEDFileCompare(const char* readFile, const char* referenceFile, const char* reportFile) {
  try {
    return fusekit::jedec::CompareFiles(readFile, referenceFile, reportFile);
  } catch (const std::bad_alloc&) {
    return fusekit::kStatusNoMemory;
  }
}
