// Case folding of the ISC readers' tokens.
#ifndef FUSEKIT_ISC_TEXT_CASE_H
#define FUSEKIT_ISC_TEXT_CASE_H

#include <cctype>
#include <string>

namespace fusekit::isc {

inline std::string Upper(std::string text) {
  for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

inline std::string Lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

}  // namespace fusekit::isc

#endif  // FUSEKIT_ISC_TEXT_CASE_H
