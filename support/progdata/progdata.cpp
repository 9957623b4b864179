// SVFPlusData: the container of data fields, comment and flags.
#include <cstring>
#include <new>

#include "fusekit/progdata.h"

SVFPlusData::SVFPlusData() = default;
SVFPlusData::~SVFPlusData() = default;

SVFDataField* SVFPlusData::AddDataField() {
  try {
    fields_.push_back(std::make_unique<SVFDataField>());
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
  return fields_.back().get();
}

SVFDataField* SVFPlusData::GetDataField(const char* name) const {
  if (name == nullptr) return nullptr;
  for (const auto& field : fields_) {
    if (std::strcmp(field->GetFieldName(), name) == 0) return field.get();
  }
  return nullptr;
}

SVFDataField* SVFPlusData::GetDataField(int index) const {
  if (index < 0 || static_cast<std::size_t>(index) >= fields_.size()) return nullptr;
  return fields_[static_cast<std::size_t>(index)].get();
}

int SVFPlusData::GetDataFieldCount() const {
  return static_cast<int>(fields_.size());
}

bool SVFPlusData::DeleteDataField(const char* name) {
  if (name == nullptr) return false;
  for (auto it = fields_.begin(); it != fields_.end(); ++it) {
    if (std::strcmp((*it)->GetFieldName(), name) == 0) {
      fields_.erase(it);
      return true;
    }
  }
  return false;
}

void SVFPlusData::SetComment(const char* text) {
  comment_.assign(text != nullptr ? text : "");
}
const char* SVFPlusData::GetComment() const {
  return comment_.c_str();
}

void SVFPlusData::SetSecurity(int value) {
  security_ = value;
}
int SVFPlusData::GetSecurity() const {
  return security_;
}
void SVFPlusData::SetEncrypted(bool value) {
  encrypted_ = value;
}
bool SVFPlusData::GetEncrypted() const {
  return encrypted_;
}
void SVFPlusData::SetFirmware(bool value) {
  firmware_ = value;
}
bool SVFPlusData::GetFirmware() const {
  return firmware_;
}
void SVFPlusData::SetEBRLoc(int value) {
  ebr_loc_ = value;
}
int SVFPlusData::GetEBRLoc() const {
  return ebr_loc_;
}
void SVFPlusData::SetTAGLoc(int value) {
  tag_loc_ = value;
}
int SVFPlusData::GetTAGLoc() const {
  return tag_loc_;
}
void SVFPlusData::SetEndDataLoc(int value) {
  end_data_loc_ = value;
}
int SVFPlusData::GetEndDataLoc() const {
  return end_data_loc_;
}
void SVFPlusData::SetFlashA(bool value) {
  flash_a_ = value;
}
bool SVFPlusData::GetFlashA() const {
  return flash_a_;
}
void SVFPlusData::SetFlashB(bool value) {
  flash_b_ = value;
}
bool SVFPlusData::GetFlashB() const {
  return flash_b_;
}
void SVFPlusData::SetFlashC(bool value) {
  flash_c_ = value;
}
bool SVFPlusData::GetFlashC() const {
  return flash_c_;
}
void SVFPlusData::SetFlashCUFM2(bool value) {
  flash_c_ufm2_ = value;
}
bool SVFPlusData::GetFlashCUFM2() const {
  return flash_c_ufm2_;
}
void SVFPlusData::SetFlashCUFM3(bool value) {
  flash_c_ufm3_ = value;
}
bool SVFPlusData::GetFlashCUFM3() const {
  return flash_c_ufm3_;
}
void SVFPlusData::SetUFMA(bool value) {
  ufm_a_ = value;
}
bool SVFPlusData::GetUFMA() const {
  return ufm_a_;
}
void SVFPlusData::SetUFMB(bool value) {
  ufm_b_ = value;
}
bool SVFPlusData::GetUFMB() const {
  return ufm_b_;
}
void SVFPlusData::SetUFMC(bool value) {
  ufm_c_ = value;
}
bool SVFPlusData::GetUFMC() const {
  return ufm_c_;
}
void SVFPlusData::SetUFM0(bool value) {
  ufm0_ = value;
}
bool SVFPlusData::GetUFM0() const {
  return ufm0_;
}
void SVFPlusData::SetUFM1(bool value) {
  ufm1_ = value;
}
bool SVFPlusData::GetUFM1() const {
  return ufm1_;
}
