// Device database: the device record that steers every conversion, its packages, and the loader
// of the JSON database (with a default database built into the library).
#ifndef FUSEKIT_DEVICEDB_H
#define FUSEKIT_DEVICEDB_H

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "fusekit/export.h"
#include "fusekit/util.h"

// One package of a device: its type ("TQFP100"), ordering numbers and pin-description file.
class FUSEKIT_API Package {
 public:
  Package();
  virtual ~Package();
  Package(const Package&);
  Package& operator=(const Package&);

  const char* GetType() const;
  const char* GetPON() const;
  const char* GetBackupPON() const;
  const char* GetJDF() const;
  void SetType(const char* text);
  void SetPON(const char* text);
  void SetBackupPON(const char* text);
  void SetJDF(const char* text);

 private:
  std::string type_;
  std::string pon_;
  std::string backup_pon_;
  std::string jdf_;
};

// The packages of one device, in database order.
class FUSEKIT_API PackageList {
 public:
  PackageList();
  virtual ~PackageList();
  PackageList(const PackageList&);
  PackageList& operator=(const PackageList&);

  unsigned short GetPackageCount() const;
  // Zero-based; null outside the list.
  Package* GetPackage(int index);
  const Package* GetPackage(int index) const;
  // The first package whose type equals name (with regard to case); null when none does.
  Package* GetPackage(const char* name);
  const Package* GetPackage(const char* name) const;
  // Appends a copy; false when memory runs out or the list already holds 65535 packages.
  bool AddPackage(const Package& package);

 private:
  std::vector<Package> packages_;
};

// A text that a KvObjList can own (entity-name lists and the like).
class FUSEKIT_API DeviceStrElement : public KvObject {
 public:
  DeviceStrElement();
  explicit DeviceStrElement(const char* text);
  ~DeviceStrElement() override;

  void SetString(const char* text);
  const char* GetString() const;

 private:
  std::string text_;
};

namespace fusekit::devicedb {
class DeviceCallScope;
}

// The device record. Lengths are in bits unless said otherwise. Texts are never null.
//
// The record is the host's. Every exported call that takes one gives it back exactly as it was
// passed: geometry, backup and all, whether it was filled by hand with the setters, copied from
// the database, saved or not. A call that needs another geometry for a while changes it and
// undoes the change before it returns. Only a change a call makes for its caller on purpose
// stays: ISC2SVFPlus sets the address length (and, for a one-row array, the fuse number) that
// the ISC file declares, and a later RestoreDeviceBackupValue by the host undoes that too.
//
// For the host's own use, the first Set... of the geometry after a load, a restore or an explicit
// SaveDeviceBackupValue remembers the values in force before it; RestoreDeviceBackupValue puts
// them back.
class FUSEKIT_API DeviceInfo {
 public:
  DeviceInfo();
  virtual ~DeviceInfo();
  DeviceInfo(const DeviceInfo&);
  DeviceInfo& operator=(const DeviceInfo&);

  const char* GetName() const;
  const char* GetFamily() const;
  const char* GetCodeName() const;
  const char* GetVendor() const;
  const char* GetPON() const;
  void SetName(const char* text);
  void SetFamily(const char* text);
  void SetCodeName(const char* text);
  void SetVendor(const char* text);
  // The command table of the family's bitstreams: one command a line, as the bitstream model
  // library reads it (docs/bitstream-format.md). Empty for the built-in table.
  const char* GetBitstreamCommands() const;
  void SetBitstreamCommands(const char* text);
  void SetPON(const char* text);

  // Geometry of the main fuse array; the four setters are the temporary ones.
  unsigned int GetAddressLength() const;
  unsigned int GetDataLength() const;
  unsigned int GetFuseNumber() const;
  unsigned int GetARCHLength() const;
  void SetAddressLength(unsigned int value);
  void SetDataLength(unsigned int value);
  void SetFuseNumber(unsigned int value);
  void SetARCHLength(unsigned int value);
  // Makes the values in force the ones that RestoreDeviceBackupValue returns to.
  void SaveDeviceBackupValue();
  // Undoes the temporary geometry changes made since the last save, load or restore.
  void RestoreDeviceBackupValue();

  unsigned short GetARCHRow() const;
  unsigned int GetELength() const;
  unsigned short GetERow() const;
  unsigned short GetIDLength() const;
  unsigned int GetjtagDeviceID() const;
  unsigned int GetispDeviceID() const;
  unsigned int GetPhysicalUESLength() const;
  unsigned int GetjtagLogicalUESLength() const;
  unsigned int GetispLogicalUESLength() const;
  const char* GetjtagUESMask() const;
  const char* GetispUESMask() const;
  unsigned short GetSEDLength() const;
  unsigned short GetBitMapTransformation() const;
  void SetARCHRow(unsigned short value);
  void SetELength(unsigned int value);
  void SetERow(unsigned short value);
  void SetIDLength(unsigned short value);
  void SetjtagDeviceID(unsigned int value);
  void SetispDeviceID(unsigned int value);
  void SetPhysicalUESLength(unsigned int value);
  void SetjtagLogicalUESLength(unsigned int value);
  void SetispLogicalUESLength(unsigned int value);
  void SetjtagUESMask(const char* text);
  void SetispUESMask(const char* text);
  void SetSEDLength(unsigned short value);
  void SetBitMapTransformation(unsigned short value);

  // I/O-ring rows: decimal row numbers of the main array. GetPadring gives "" outside the list.
  unsigned short GetPadringCount() const;
  const char* GetPadring(int index) const;
  void SetPadring(const std::vector<std::string>& rows);

  PackageList* GetDevicePackage();
  const PackageList* GetDevicePackage() const;
  void SetDevicePackage(const PackageList& packages);

  const std::vector<unsigned int>& GetlistControlEBR() const;
  const std::vector<unsigned int>& GetlistPersistent_fuse() const;
  const std::vector<unsigned int>& GetlistControlRegOne() const;
  void SetlistControlEBR(const std::vector<unsigned int>& values);
  void SetlistPersistent_fuse(const std::vector<unsigned int>& values);
  void SetlistControlRegOne(const std::vector<unsigned int>& values);

 private:
  struct Geometry {
    unsigned int address_length = 0;
    unsigned int data_length = 0;
    unsigned int fuse_number = 0;
    unsigned int arch_length = 0;
  };
  void RememberGeometry();
  friend class fusekit::devicedb::DeviceCallScope;

  std::string name_;
  std::string family_;
  std::string code_name_;
  std::string vendor_;
  std::string bitstream_commands_;
  std::string pon_;
  Geometry geometry_;
  Geometry backup_;      // geometry in force before the first temporary change
  bool backup_pending_;  // backup_ holds values that a restore must put back
  unsigned short arch_row_ = 0;
  unsigned int e_length_ = 0;
  unsigned short e_row_ = 0;
  unsigned short id_length_ = 0;
  unsigned int jtag_device_id_ = 0;
  unsigned int isp_device_id_ = 0;
  unsigned int physical_ues_length_ = 0;
  unsigned int jtag_logical_ues_length_ = 0;
  unsigned int isp_logical_ues_length_ = 0;
  std::string jtag_ues_mask_;
  std::string isp_ues_mask_;
  unsigned short sed_length_ = 0;
  unsigned short bit_map_transformation_ = 0;
  std::vector<std::string> padring_;
  PackageList packages_;
  std::vector<unsigned int> control_ebr_;
  std::vector<unsigned int> persistent_fuse_;
  std::vector<unsigned int> control_reg_one_;
};

// A set of device records read from a JSON database (see docs/device-database.md), or from the
// default database built into the library.
class FUSEKIT_API DeviceDatabase {
 public:
  DeviceDatabase();
  DeviceDatabase(const DeviceDatabase&) = delete;
  DeviceDatabase& operator=(const DeviceDatabase&) = delete;
  virtual ~DeviceDatabase();

  // Each load replaces the records held. Result 0, or a negative status: -2 the file cannot be
  // opened, -3 out of memory, -30 the text is not a valid database (GetLastError says why; the
  // records held before the call are kept).
  int LoadDefault();
  int LoadFile(const char* fileName);
  int LoadText(const char* text, std::size_t length);

  // The records are the database's and read-only: a host copies the one it wants and passes
  // its copy to the library (DeviceInfo device = *database.FindDevice("TV64");), so that what a
  // conversion leaves in a record never reaches the next lookup.
  int GetDeviceCount() const;
  // Zero-based; null outside.
  const DeviceInfo* GetDevice(int index) const;
  // The record whose name equals name without regard to case; null when there is none.
  const DeviceInfo* FindDevice(const char* name) const;
  // What was wrong with the last text that failed to load; "" after a successful load.
  const char* GetLastError() const;

 private:
  std::vector<DeviceInfo> devices_;
  std::string last_error_;
};

#endif  // FUSEKIT_DEVICEDB_H
