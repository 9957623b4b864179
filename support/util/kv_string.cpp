// KvCString and KvString: the text type of the host interface.
#include <algorithm>
#include <cctype>
#include <cstring>

#include "fusekit/util.h"

namespace {

bool IsTrimmed(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

int ClampCount(int count, std::size_t available) {
  if (count <= 0) return 0;
  return static_cast<std::size_t>(count) > available ? static_cast<int>(available) : count;
}

}  // namespace

KvCString::KvCString() = default;
KvCString::KvCString(const char* text) : text_(text != nullptr ? text : "") {}
KvCString::KvCString(const char* text, std::size_t length)
    : text_(text != nullptr ? std::string(text, length) : std::string()) {}
KvCString::KvCString(const KvCString& other) = default;
KvCString& KvCString::operator=(const KvCString& other) = default;
KvCString::~KvCString() = default;

KvCString& KvCString::operator=(const char* text) {
  text_.assign(text != nullptr ? text : "");
  return *this;
}

KvCString& KvCString::operator+=(const char* text) {
  if (text != nullptr) text_.append(text);
  return *this;
}

KvCString& KvCString::operator+=(char c) {
  text_.push_back(c);
  return *this;
}

const char* KvCString::GetString() const {
  return text_.c_str();
}
int KvCString::GetLength() const {
  return static_cast<int>(text_.size());
}
bool KvCString::IsEmpty() const {
  return text_.empty();
}
void KvCString::Empty() {
  text_.clear();
}

char KvCString::GetAt(int index) const {
  if (index < 0 || static_cast<std::size_t>(index) >= text_.size()) return '\0';
  return text_[static_cast<std::size_t>(index)];
}

int KvCString::Find(char c, int start) const {
  if (start < 0 || static_cast<std::size_t>(start) > text_.size()) return -1;
  const std::size_t pos = text_.find(c, static_cast<std::size_t>(start));
  return pos == std::string::npos ? -1 : static_cast<int>(pos);
}

int KvCString::Find(const char* sub, int start) const {
  if (sub == nullptr || start < 0 || static_cast<std::size_t>(start) > text_.size()) return -1;
  const std::size_t pos = text_.find(sub, static_cast<std::size_t>(start));
  return pos == std::string::npos ? -1 : static_cast<int>(pos);
}

int KvCString::ReverseFind(char c) const {
  const std::size_t pos = text_.rfind(c);
  return pos == std::string::npos ? -1 : static_cast<int>(pos);
}

KvCString KvCString::Left(int count) const {
  const int n = ClampCount(count, text_.size());
  return KvCString(text_.data(), static_cast<std::size_t>(n));
}

KvCString KvCString::Right(int count) const {
  const int n = ClampCount(count, text_.size());
  return KvCString(text_.data() + text_.size() - static_cast<std::size_t>(n),
                   static_cast<std::size_t>(n));
}

KvCString KvCString::Mid(int first, int count) const {
  if (first < 0) first = 0;
  if (static_cast<std::size_t>(first) >= text_.size()) return KvCString();
  const std::size_t available = text_.size() - static_cast<std::size_t>(first);
  const std::size_t n =
      count < 0 ? available : static_cast<std::size_t>(ClampCount(count, available));
  return KvCString(text_.data() + first, n);
}

KvCString& KvCString::Trim() {
  return TrimRight().TrimLeft();
}

KvCString& KvCString::TrimLeft() {
  const auto first = std::find_if_not(text_.begin(), text_.end(), IsTrimmed);
  text_.erase(text_.begin(), first);
  return *this;
}

KvCString& KvCString::TrimRight() {
  while (!text_.empty() && IsTrimmed(text_.back())) text_.pop_back();
  return *this;
}

KvCString& KvCString::MakeUpper() {
  for (char& c : text_) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return *this;
}

KvCString& KvCString::MakeLower() {
  for (char& c : text_) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return *this;
}

int KvCString::Compare(const char* other) const {
  return std::strcmp(text_.c_str(), other != nullptr ? other : "");
}

int KvCString::CompareNoCase(const char* other) const {
  const unsigned char* a = reinterpret_cast<const unsigned char*>(text_.c_str());
  const unsigned char* b = reinterpret_cast<const unsigned char*>(other != nullptr ? other : "");
  for (;; ++a, ++b) {
    const int ca = std::tolower(*a);
    const int cb = std::tolower(*b);
    if (ca != cb || ca == 0) return ca - cb;
  }
}

KvString::~KvString() = default;
