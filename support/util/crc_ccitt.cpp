// The process-wide CCITT CRC-16 state fed one byte at a time.
#include <cstdint>

#include "fusekit/util.h"
#include "support/util/crc_engine.h"

namespace {
std::uint16_t g_ccitt_state = fusekit::crc_engine::kCcittInitial;
}  // namespace

void init_crc_ccitt() {
  g_ccitt_state = fusekit::crc_engine::kCcittInitial;
}

void get_crc_ccitt(char* byte, bool /*flag*/) {
  if (byte == nullptr) return;
  g_ccitt_state =
      fusekit::crc_engine::Ccitt16::UpdateByte(g_ccitt_state, static_cast<std::uint8_t>(*byte));
}

unsigned short return_crc_ccitt() {
  return g_ccitt_state;
}
