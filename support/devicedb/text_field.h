// Assignment of a C text to a held text, a null text counting as "".
#ifndef FUSEKIT_SUPPORT_DEVICEDB_TEXT_FIELD_H
#define FUSEKIT_SUPPORT_DEVICEDB_TEXT_FIELD_H

#include <string>

namespace fusekit::devicedb {

inline void AssignText(std::string& to, const char* text) {
  to.assign(text != nullptr ? text : "");
}

}  // namespace fusekit::devicedb

#endif  // FUSEKIT_SUPPORT_DEVICEDB_TEXT_FIELD_H
