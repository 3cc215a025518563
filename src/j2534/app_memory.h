#ifndef PASSBRIDGE_J2534_APP_MEMORY_H_
#define PASSBRIDGE_J2534_APP_MEMORY_H_

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

#include "passbridge/j2534.h"

/// Views of what an application passes by pointer. The standard's fields are `unsigned long`:
/// 32 bits on Windows and for clients of the 32-bit build, 64 bits on Linux otherwise. These
/// views know the width, so that everything behind the exports is written, and built, once.
///
/// A view does not check its pointer: CJ2534::ValidatePointer does, before the first access.
namespace passbridge {

/// Capacity of PASSTHRU_MSG.Data, in bytes.
inline constexpr std::uint32_t kMaxMessageData = 4128;

/// The address so many bytes further on; an application's pointer may point to nowhere, where
/// pointers cannot be added to.
inline void* OffsetAddress(void* address, std::size_t bytes) {
  return reinterpret_cast<void*>(reinterpret_cast<std::uintptr_t>(address) + bytes);
}

enum class FieldWidth : std::uint8_t { k32 = 4, k64 = 8 };

/// An application's `unsigned long`, or an array of them. Stores write the full width.
class AppValue {
 public:
  AppValue() = default;
  AppValue(void* address, FieldWidth width) : address_(address), width_(width) {}
  explicit AppValue(std::uint32_t& value) : AppValue(&value, FieldWidth::k32) {}

  void* Address() const { return address_; }
  std::size_t Size() const { return static_cast<std::size_t>(width_); }
  AppValue operator[](std::size_t index) const {
    return {OffsetAddress(address_, index * Size()), width_};
  }

  /// The lower 32 bits of the value.
  std::uint32_t Load() const {
    return width_ == FieldWidth::k32 ? LoadAs<std::uint32_t>()
                                     : static_cast<std::uint32_t>(LoadAs<std::uint64_t>());
  }
  void Store(std::uint32_t value) const {
    if (width_ == FieldWidth::k32) {
      StoreAs<std::uint32_t>(value);
    } else {
      StoreAs<std::uint64_t>(value);
    }
  }

 private:
  // memcpy, for an application may pass unaligned memory.
  template <typename T>
  T LoadAs() const {
    T value = 0;
    std::memcpy(&value, address_, sizeof value);
    return value;
  }
  template <typename T>
  void StoreAs(T value) const {
    std::memcpy(address_, &value, sizeof value);
  }

  void* address_ = nullptr;
  FieldWidth width_ = FieldWidth::k32;
};

/// A text buffer of an application as the cells that it lies in, and their number.
inline AppValue TextCell(char* text) { return {text, FieldWidth::k32}; }
inline constexpr std::size_t kTextCells = J2534_TEXT_SIZE / sizeof(std::uint32_t);

/// What an ioctl gets: a pointer to something that depends on the ioctl, and the width of the
/// `unsigned long` fields in it.
struct AppPointer {
  void* address = nullptr;
  FieldWidth width = FieldWidth::k32;

  /// The pointer as one to an `unsigned long`.
  AppValue Value() const { return {address, width}; }
};

/// A structure that holds a number of elements and a pointer to them.
class AppArray {
 public:
  explicit AppArray(const AppPointer& pointer) : pointer_(pointer) {}

  /// Size of the structure itself, in bytes: natural alignment puts the pointer second.
  static constexpr std::size_t kSize = 2 * sizeof(void*);

  std::uint32_t Count() const { return pointer_.Value().Load(); }
  void SetCount(std::uint32_t count) const { pointer_.Value().Store(count); }

 protected:
  void* Elements() const;
  FieldWidth Width() const { return pointer_.width; }

 private:
  AppPointer pointer_;
};

/// An SCONFIG_LIST: each entry is a pair of parameter and value.
class AppConfigList : public AppArray {
 public:
  using AppArray::AppArray;
  /// The entries as an array of values: parameter and value of each in turn.
  AppValue Entries() const { return {Elements(), Width()}; }
};

/// An SBYTE_ARRAY.
class AppByteArray : public AppArray {
 public:
  using AppArray::AppArray;
  std::uint8_t* Bytes() const { return static_cast<std::uint8_t*>(Elements()); }
};

/// A PASSTHRU_MSG with 32-bit fields: what the library itself and its tests make.
struct PassThruMsg {
  std::uint32_t protocolId = 0;
  std::uint32_t rxStatus = 0;
  std::uint32_t txFlags = 0;
  std::uint32_t timestamp = 0;
  std::uint32_t dataSize = 0;
  std::uint32_t extraDataIndex = 0;
  std::array<std::uint8_t, kMaxMessageData> data{};
};

/// One PASSTHRU_MSG, or an array of them.
class AppMessage {
 public:
  AppMessage() = default;
  AppMessage(void* address, FieldWidth width) : address_(address), width_(width) {}
  explicit AppMessage(PassThruMsg& message) : AppMessage(&message, FieldWidth::k32) {}

  void* Address() const { return address_; }
  explicit operator bool() const { return address_ != nullptr; }
  /// Size of one message, in bytes.
  std::size_t Size() const { return kFields * static_cast<std::size_t>(width_) + kMaxMessageData; }
  AppMessage operator[](std::size_t index) const {
    return {OffsetAddress(address_, index * Size()), width_};
  }

  std::uint32_t ProtocolId() const { return Field(0).Load(); }
  std::uint32_t RxStatus() const { return Field(1).Load(); }
  std::uint32_t TxFlags() const { return Field(2).Load(); }
  std::uint32_t Timestamp() const { return Field(3).Load(); }
  std::uint32_t DataSize() const { return Field(4).Load(); }
  std::uint32_t ExtraDataIndex() const { return Field(5).Load(); }
  void SetProtocolId(std::uint32_t value) const { Field(0).Store(value); }
  void SetRxStatus(std::uint32_t value) const { Field(1).Store(value); }
  void SetTxFlags(std::uint32_t value) const { Field(2).Store(value); }
  void SetTimestamp(std::uint32_t value) const { Field(3).Store(value); }
  void SetDataSize(std::uint32_t value) const { Field(4).Store(value); }
  void SetExtraDataIndex(std::uint32_t value) const { Field(5).Store(value); }

  /// The whole data area.
  std::uint8_t* Data() const { return reinterpret_cast<std::uint8_t*>(Field(kFields).Address()); }
  /// The bytes in use; never more than the data area, whatever DataSize says.
  std::span<std::uint8_t> Bytes() const { return {Data(), std::min(DataSize(), kMaxMessageData)}; }

 private:
  static constexpr std::size_t kFields = 6;

  AppValue Field(std::size_t index) const { return AppValue(address_, width_)[index]; }

  void* address_ = nullptr;
  FieldWidth width_ = FieldWidth::k32;
};

}  // namespace passbridge

#endif  // PASSBRIDGE_J2534_APP_MEMORY_H_
