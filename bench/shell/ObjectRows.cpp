// The object repository with few and with many entries.
#include <windows.h>

#include <unordered_map>

#include "bench/shell/Rows.h"
#include "composition/ProductRuntime.h"
#include "tslib/platform/win32/WideText.h"

namespace bench {

namespace {

using tsLib::ObjectId;
using tsLib::platform::win32::ToWide;

constexpr std::size_t kLookups = 1000;
constexpr wchar_t kValue[] = L"InProc64";
constexpr wchar_t kModule[] = L"C:\\Program Files\\Halvora\\component.dll";

// Ids that no installation has.
ObjectId IdNumber(std::size_t number) { return {static_cast<std::uint32_t>(0xBE4C0000 + number), 0, 0, {}}; }

struct IdHash {
    std::size_t operator()(const ObjectId& id) const noexcept { return id.data1; }
};

class Key {
public:
    Key() = default;
    ~Key() { RegCloseKey(key_); }
    Key(const Key&) = delete;
    Key& operator=(const Key&) = delete;
    [[nodiscard]] HKEY Get() const { return key_; }
    [[nodiscard]] HKEY* Receive() { return &key_; }

private:
    HKEY key_ = nullptr;
};

// The installation's registered objects, with so many more while this lives.
class Entries {
public:
    explicit Entries(std::size_t count) : count_(count) {
        std::u16string root;
        if (!HVR::ProductRuntime::Instance().Isolation().Root(root) ||
            RegOpenKeyExW(HKEY_LOCAL_MACHINE, ToWide(root + u"\\OBJID"), 0, KEY_ALL_ACCESS, list_.Receive()) != 0) {
            throw Failure("the installation has no registered objects");
        }
        for (std::size_t i = 0; i < count_; ++i) {
            RegSetKeyValueW(list_.Get(), ToWide(ToText(IdNumber(i))), kValue, REG_SZ, kModule, sizeof(kModule));
        }
    }
    ~Entries() {
        for (std::size_t i = 0; i < count_; ++i) {
            RegDeleteKeyW(list_.Get(), ToWide(ToText(IdNumber(i))));
        }
    }
    Entries(const Entries&) = delete;
    Entries& operator=(const Entries&) = delete;

    // What nobody can do without who wants to know all entries.
    [[nodiscard]] bool ReadBare() const {
        wchar_t name[64];
        wchar_t path[MAX_PATH];
        std::size_t read = 0;
        for (DWORD index = 0;; ++index) {
            DWORD length = 64;
            if (RegEnumKeyExW(list_.Get(), index, name, &length, nullptr, nullptr, nullptr, nullptr) != 0) {
                return read >= count_;
            }
            Key entry;
            DWORD size = sizeof(path);
            if (RegOpenKeyExW(list_.Get(), name, 0, KEY_READ, entry.Receive()) == 0 &&
                RegQueryValueExW(entry.Get(), kValue, nullptr, nullptr, reinterpret_cast<BYTE*>(path), &size) == 0) {
                ++read;
            }
        }
    }

private:
    std::size_t count_;
    Key list_;
};

void MeasureObjects(Table& table, std::size_t count, const std::string& among) {
    tsLib::tsVaneObjectRepository& repository = HVR::ProductRuntime::Instance().ObjectRepository();
    const Entries entries(count);
    std::unordered_map<ObjectId, std::u16string, IdHash> paths;
    for (std::size_t i = 0; i < count; ++i) {
        paths[IdNumber(i)] = tsLib::platform::win32::FromWide(kModule);
    }
    std::size_t last = 0;
    const auto next = [&] { return IdNumber(last = (last + 7919) % count); };
    std::u16string path;
    const std::string bareLookup = "bare map lookup among " + among;
    const std::string bareRead = "registry's " + among + " read bare";
    table.Measure({
        Timed({bareRead}, [&] { return entries.ReadBare(); }),
        Timed({"unknown object among " + among, bareRead}, [&] { return !repository.Exists(IdNumber(count)); }),
        Timed(
            {bareLookup},
            [&] {
                path = paths.at(next());
                return !path.empty();
            },
            kLookups),
        Timed(
            {"known object's module among " + among, bareLookup},
            [&] { return repository.GetModulePath(next(), path); }, kLookups),
    });
}

}  // namespace

void MeasureObjects(Table& table) {
    MeasureObjects(table, 10, "10 objects");
    MeasureObjects(table, 10'000, "10,000 objects");
}

}  // namespace bench
