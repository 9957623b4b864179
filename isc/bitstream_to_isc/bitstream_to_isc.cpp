// CBitstreamToISC: up to three bitstreams of one device (configuration, read-back, read-back
// mask) merged into programming data and written as an ISC data file.
#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "fusekit/bitstream.h"
#include "fusekit/family.h"
#include "fusekit/isc.h"
#include "isc/header_builders.h"

namespace {

bool Given(const char* name) {
  return name != nullptr && name[0] != '\0';
}

enum class Extraction { kPlain, kSram, kVorsk };

// The extraction of the read-back and mask models by family.
Extraction ReadBackExtraction(const DeviceInfo& device) {
  const char* family = device.GetFamily();
  if ((IsPelmo2Family(family) || IsFendra2Family(family) || IsGlimraFamily(family) ||
       IsPelmo3DFamily(family) || IsOrlanFamily(family)) &&
      device.GetDataLength() != 128)
    return Extraction::kSram;
  return IsVorskFamily(family) ? Extraction::kVorsk : Extraction::kPlain;
}

// The extraction of the configuration model: Torvik4, Glimra, Fendra2, Pelmo3D and Orlan take
// the SRAM form whatever their data length, Pelmo2 unless its data length is 128.
Extraction ConfigExtraction(const DeviceInfo& device) {
  const char* family = device.GetFamily();
  if ((IsPelmo2Family(family) && device.GetDataLength() != 128) || IsTorvik4Family(family) ||
      IsGlimraFamily(family) || IsFendra2Family(family) || IsPelmo3DFamily(family) ||
      IsOrlanFamily(family))
    return Extraction::kSram;
  return IsVorskFamily(family) ? Extraction::kVorsk : Extraction::kPlain;
}

bool Extract(const XFPBitstreamModel& model, Extraction how, SVFPlusData* data) {
  switch (how) {
    case Extraction::kSram:
      return model.GetPelmo2_SRAM_SVFPlusData(data);
    case Extraction::kVorsk:
      return model.GetVorskSVFPlusData(data);
    default:
      return model.GetSVFPlusData(data);
  }
}

}  // namespace

CBitstreamToISC::CBitstreamToISC() = default;
CBitstreamToISC::~CBitstreamToISC() = default;
CBitstreamToISC::CBitstreamToISC(const CBitstreamToISC&) = default;
CBitstreamToISC& CBitstreamToISC::operator=(const CBitstreamToISC&) = default;

int CBitstreamToISC::CreateModels(DeviceInfo& device, const char* logFile, SVFPlusData* data) {
  KvLog log;
  log.Open(logFile, "a");
  struct Step {
    const char* file;
    XFPBitstreamModel* model;
    int (*create)(XFPBitstreamModel&, DeviceInfo&, KvLog&, const char*, const char*, const char*);
    const char* failure;
    bool configuration;
  };
  const Step steps[] = {
      {mask_file_, &mask_model_, &XFPObjectFactory::CreateReadBackMaskBitstreamModel,
       "\nFailed to Create ReadBack Mask Model:\n", false},
      {readback_file_, &readback_model_, &XFPObjectFactory::CreateReadBackBitstreamModel,
       "\nFailed to Create ReadBack Model:\n", false},
      {config_file_, &config_model_, &XFPObjectFactory::CreateConfigBitstreamModel,
       "\nFailed to Create Config Bitstream Model:\n", true},
  };
  int result = 0;
  for (const Step& step : steps) {
    if (!Given(step.file)) continue;
    result = step.create(*step.model, device, log, step.file, nullptr, nullptr);
    if (result < 0) {
      if (log.IsOpen()) log.WriteMessage("File: %s%s", step.file, step.failure);
      return result;
    }
    if (data != nullptr) {
      const Extraction how =
          step.configuration ? ConfigExtraction(device) : ReadBackExtraction(device);
      if (!Extract(*step.model, how, data)) return -1;
    }
  }
  return result;
}

void CBitstreamToISC::Remember(DeviceInfo& device, const char* logFile, const char* configFile,
                               const char* readbackFile, const char* maskFile) {
  config_model_.Clear();
  readback_model_.Clear();
  mask_model_.Clear();
  config_file_ = configFile;
  readback_file_ = readbackFile;
  mask_file_ = maskFile;
  log_file_ = logFile;
  device_ = &device;
}

int CBitstreamToISC::Initialize(DeviceInfo& device, const char* outFile, const char* logFile,
                                const char* configFile, const char* readbackFile,
                                const char* maskFile) {
  if (outFile == nullptr || logFile == nullptr) return -1;
  Remember(device, logFile, configFile, readbackFile, maskFile);
  out_file_ = outFile;
  try {
    return CreateModels(device, logFile, nullptr);
  } catch (const std::bad_alloc&) {
    return -1;
  }
}

int CBitstreamToISC::Initialize(DeviceInfo& device, SVFPlusData* data, const char* logFile,
                                const char* configFile, const char* readbackFile,
                                const char* maskFile) {
  if (data == nullptr || logFile == nullptr) return -1;
  Remember(device, logFile, configFile, readbackFile, maskFile);
  try {
    return CreateModels(device, logFile, data);
  } catch (const std::bad_alloc&) {
    return -1;
  }
}

int CBitstreamToISC::Generate(const char* entity, const char* creator, bool usercodeFromCRC,
                              const char* commentFile) {
  if (device_ == nullptr) return -1;
  try {
    SVFPlusData data;
    for (const XFPBitstreamModel* model : {&config_model_, &readback_model_, &mask_model_}) {
      if (model->GetSize() != 0 && !model->GetSVFPlusData(&data)) return -1;
    }
    // The comment buffer holds whole lines of the block only, however long the comment file.
    std::string header;
    if (commentFile != nullptr) {
      char crc[16];
      const SVFDataField* array = data.GetDataField("FuseArray_TDI");
      if (array != nullptr) std::snprintf(crc, sizeof crc, "%.8X", array->CalculateDataCRC());
      header = fusekit::isc::CommentBlockFromFile(device_->GetFuseNumber(),
                                                  array != nullptr ? crc : nullptr, commentFile);
    } else {
      const std::vector<const char*> names = {config_file_, readback_file_, mask_file_};
      header =
          fusekit::isc::CommentBlockFromSources(creator, static_cast<int>(device_->GetFuseNumber()),
                                                device_->GetCodeName(), names, nullptr);
    }
    header = fusekit::isc::CutToWholeLines(std::move(header), fusekit::isc::kCommentBlockBytes);
    KvCString security;
    GetBitstreamComment(security, "security", config_file_);
    const bool force_security = security.CompareNoCase("on") == 0;
    return SVFPlus2ISC(&data, header.c_str(), out_file_.c_str(), entity, usercodeFromCRC ? 1 : 0, 0,
                       force_security ? 1 : 0, creator);
  } catch (const std::bad_alloc&) {
    return -1;
  }
}
