// The interfaces of the settings store component.
//
// The store holds texts and numbers in keys. A key is named by its path: names joined by backslashes, such as
// Tessel\OBJID, of at most 255 characters each, compared without regard to letter case; no empty name, no backslash at
// either end. Values are named alike; an empty or null name is a key's default value.
#pragma once

#include <cstdint>

#include "tslib/Guid.h"
#include "tslib/IVaneBase.h"
#include "tslib/VaneResult.h"

namespace tsLib {

// {4F3E0BE1-5FE1-4C22-859B-A6FB7586B828}
inline constexpr ObjectId kSettingsStoreObjectId{
    0x4F3E0BE1, 0x5FE1, 0x4C22, {0x85, 0x9B, 0xA6, 0xFB, 0x75, 0x86, 0xB8, 0x28}};
// {B0A55002-DA4A-473B-AEBB-09795F618EDF}
inline constexpr InterfaceId kISettingsStoreId{
    0xB0A55002, 0xDA4A, 0x473B, {0xAE, 0xBB, 0x09, 0x79, 0x5F, 0x61, 0x8E, 0xDF}};
// {5E7D4B0C-63F1-49A2-B6D8-1C9A0F27E485}
inline constexpr InterfaceId kISettingsEnumerationId{
    0x5E7D4B0C, 0x63F1, 0x49A2, {0xB6, 0xD8, 0x1C, 0x9A, 0x0F, 0x27, 0xE4, 0x85}};
// {A18C2F96-70DD-4E3A-9B45-E20573D1C6B9}
inline constexpr InterfaceId kISettingsKeyId{
    0xA18C2F96, 0x70DD, 0x4E3A, {0x9B, 0x45, 0xE2, 0x05, 0x73, 0xD1, 0xC6, 0xB9}};

// Results of the store beside InvalidArgument (a null place, a malformed key or value name), OutOfMemory and
// InternalFailure (any other error of the storage, which is traced).
inline constexpr VaneResult kSettingMissing{0x80010400u};       // no such key, value or subkey
inline constexpr VaneResult kSettingTooLong{0x80010401u};       // it does not fit the caller's buffer, or any
inline constexpr VaneResult kSettingDenied{0x80010402u};        // the caller has no right to it
inline constexpr VaneResult kSettingOtherType{0x80010403u};     // the value is not of the asked type
inline constexpr VaneResult kSettingsUnavailable{0x80010404u};  // the installation is not known (yet)

// The order of the operations of all three, behind IVaneBase's, is a binary contract between modules, which is why none
// is overloaded: compilers differ in the order of overloads. No operation throws. Any thread.
// Opened objects come with a reference that the caller releases, null on failure, and may outlive the store object.
//
// A text goes into a buffer of `capacity` characters, terminator included. One that does not fit is cut to fit and
// answered with kSettingTooLong; the capacity may be 0, then the buffer may be null. `length`, which may be null, is
// the whole text's length without the terminator. On any other failure buffer and length are untouched.

// The subkeys of a key. They may come and go meanwhile: an index may fail, or stand for another name than before.
class ISettingsEnumeration : public IVaneBase {
public:
    virtual VaneResult SubkeyCount(std::uint32_t* count) noexcept = 0;
    // kSettingMissing when there is no subkey of that index, which counts from 0.
    virtual VaneResult SubkeyName(std::uint32_t index, char16_t* name, std::uint32_t capacity,
                                  std::uint32_t* length) noexcept = 0;

protected:
    ~ISettingsEnumeration() = default;
};

// The values of a key. One that was opened for reading answers the last three operations with kSettingDenied.
class ISettingsKey : public IVaneBase {
public:
    virtual VaneResult ReadText(const char16_t* name, char16_t* text, std::uint32_t capacity,
                                std::uint32_t* length) noexcept = 0;
    virtual VaneResult ReadNumber(const char16_t* name, std::uint32_t* number) noexcept = 0;
    // A text of at most 32,767 characters; a longer one is kSettingTooLong.
    virtual VaneResult WriteText(const char16_t* name, const char16_t* text) noexcept = 0;
    virtual VaneResult WriteNumber(const char16_t* name, std::uint32_t number) noexcept = 0;
    // kSettingMissing when there is no such value.
    virtual VaneResult DeleteValue(const char16_t* name) noexcept = 0;

protected:
    ~ISettingsKey() = default;
};

class ISettingsStore : public IVaneBase {
public:
    // An empty key stands for the store's top.
    virtual VaneResult OpenForEnumeration(const char16_t* key, ISettingsEnumeration** enumeration) noexcept = 0;
    virtual VaneResult OpenForReading(const char16_t* key, ISettingsKey** opened) noexcept = 0;
    // Makes the key, and every missing key above it.
    virtual VaneResult OpenForWriting(const char16_t* key, ISettingsKey** opened) noexcept = 0;
    // The key with its values and all keys below it.
    virtual VaneResult DeleteKey(const char16_t* key) noexcept = 0;

protected:
    ~ISettingsStore() = default;
};

}  // namespace tsLib
