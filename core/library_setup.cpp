// Set-up when the library is loaded: the two output-format name tables.
#include <array>

#include "fusekit/core.h"

#if defined(_WIN32)
#include <windows.h>
#endif

namespace {

constexpr std::array<const char*, kOutputFormatCount> kOutputFormatNames = {
    "Binary", "C-Code", "Intel Hex", "Text (Debug Only)"};

// Two tables with the same contents, as hosts of the library expect both.
struct OutputFormatTables {
  std::array<const char*, kOutputFormatCount> tables[2] = {};
  void Build() {
    for (auto& table : tables) table = kOutputFormatNames;
  }
};

OutputFormatTables g_format_tables;

// Runs when the shared library is loaded, before any exported function can be called.
struct LoadTimeSetup {
  LoadTimeSetup() { g_format_tables.Build(); }
};
const LoadTimeSetup g_load_time_setup;

}  // namespace

#if defined(_WIN32)
BOOL APIENTRY DllMain(HMODULE module, DWORD reason, LPVOID) {
  if (reason == DLL_PROCESS_ATTACH) DisableThreadLibraryCalls(module);
  return TRUE;
}
#endif

const char* GetOutputFormatName(int table, int index) {
  if (table < 0 || table > 1 || index < 0 || index >= kOutputFormatCount) return nullptr;
  return g_format_tables.tables[table][static_cast<std::size_t>(index)];
}

namespace fusekit {
const char* LibraryVersion() {
  return FUSEKIT_VERSION;
}
}  // namespace fusekit
