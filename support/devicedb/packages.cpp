// Package, PackageList and DeviceStrElement.
#include <cstring>
#include <new>

#include "fusekit/devicedb.h"
#include "support/devicedb/text_field.h"

using fusekit::devicedb::AssignText;

Package::Package() = default;
Package::~Package() = default;
Package::Package(const Package&) = default;
Package& Package::operator=(const Package&) = default;

const char* Package::GetType() const {
  return type_.c_str();
}
const char* Package::GetPON() const {
  return pon_.c_str();
}
const char* Package::GetBackupPON() const {
  return backup_pon_.c_str();
}
const char* Package::GetJDF() const {
  return jdf_.c_str();
}
void Package::SetType(const char* text) {
  AssignText(type_, text);
}
void Package::SetPON(const char* text) {
  AssignText(pon_, text);
}
void Package::SetBackupPON(const char* text) {
  AssignText(backup_pon_, text);
}
void Package::SetJDF(const char* text) {
  AssignText(jdf_, text);
}

PackageList::PackageList() = default;
PackageList::~PackageList() = default;
PackageList::PackageList(const PackageList&) = default;
PackageList& PackageList::operator=(const PackageList&) = default;

unsigned short PackageList::GetPackageCount() const {
  return static_cast<unsigned short>(packages_.size());
}

Package* PackageList::GetPackage(int index) {
  if (index < 0 || static_cast<std::size_t>(index) >= packages_.size()) return nullptr;
  return &packages_[static_cast<std::size_t>(index)];
}

const Package* PackageList::GetPackage(int index) const {
  return const_cast<PackageList*>(this)->GetPackage(index);
}

Package* PackageList::GetPackage(const char* name) {
  if (name == nullptr) return nullptr;
  for (Package& package : packages_) {
    if (std::strcmp(package.GetType(), name) == 0) return &package;
  }
  return nullptr;
}

const Package* PackageList::GetPackage(const char* name) const {
  return const_cast<PackageList*>(this)->GetPackage(name);
}

bool PackageList::AddPackage(const Package& package) {
  if (packages_.size() >= 0xFFFF) return false;
  try {
    packages_.push_back(package);
  } catch (const std::bad_alloc&) {
    return false;
  }
  return true;
}

DeviceStrElement::DeviceStrElement() = default;
DeviceStrElement::DeviceStrElement(const char* text) {
  SetString(text);
}
DeviceStrElement::~DeviceStrElement() = default;
void DeviceStrElement::SetString(const char* text) {
  AssignText(text_, text);
}
const char* DeviceStrElement::GetString() const {
  return text_.c_str();
}
