// Fuzzes the JEDEC header queries, the header text and the summary.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "fusekit/jedec.h"
#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string path = fusekit::fuzzing::WriteInput(data, size, "header");
  std::string copy;
  for (int (*query)(char*) :
       {GetJEDEC_ENDDATA_NOTE, GetJEDEC_EBRDATA_NOTE, GetJEDEC_TAGDATA_NOTE, GetJEDEC_UFM,
        GetJEDEC_Encrypted, GetJEDEC_Selvex, GetJEDEC_FirstFrameCRC, GetJEDEC_FramesCRC,
        GetJEDEC_FirstChainFrameCRC, GetJEDEC_ChainFramesCRC}) {
    copy = path;
    query(copy.data());
  }
  copy = path;
  GetJEDEC_USERCODE(copy.data());
  IsEncryptedJEDEC_CRCUpdated(path.c_str());
  unsigned long checksum = 0;
  Jedec_read_Checksum(path.c_str(), &checksum);
  Jedec_read_Secure(path.c_str());
  if (GetJEDECHeaderSize(path.c_str()) > static_cast<int>(size)) std::abort();
  std::vector<char> header(2 * size + 16, '\0');  // the header never exceeds twice the file
  ParseJEDECHeader(header.data(), path.c_str(), false);
  if (std::strlen(header.data()) > 2 * size) std::abort();
  JEDECSummary summary;
  GetJEDECSummary(path.c_str(), &summary);
  std::remove(path.c_str());
  return 0;
}
