// Why the menu item is missing or the scan does not start: every condition of both, one by one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tools/zebdiag/Program.h"
#include "tools/zebdiag/Scanner.h"
#include "tools/zebdiag/ShellMenu.h"
#include "tslib/Guid.h"
#include "tslib/platform/Platform.h"

namespace HVR::zebdiag {

// {8BEEE74D-455E-4616-A97A-F6E86C317F32}: the handler's class.
inline constexpr tsLib::Guid kHandlerClass{
    0x8BEEE74D, 0x455E, 0x4616, {0xA9, 0x7A, 0xF6, 0xE8, 0x6C, 0x31, 0x7F, 0x32}};
inline constexpr char16_t kLibraryFileName[] = u"zebshell2.dll";

// From good to bad. What could not be looked at because of a fault that was found before is not known, so that a fault
// is told once.
enum class Verdict : std::uint8_t { Fine, Remark, NotKnown, Fault };
// "fine", "remark", "not known", "fault".
[[nodiscard]] std::string_view Name(Verdict verdict);

// Texts are UTF-8. The id of a check is a contract with scripts and documents: docs/zebdiag.md lists them.
struct Finding {
    std::string id;
    std::string title;
    Verdict verdict = Verdict::Fine;
    std::string fact;    // what was found
    std::string advice;  // what to do, one sentence; empty when there is nothing to do
};

struct Diagnosis {
    std::u16string library;
    std::string version;  // the library's; empty when it is not known
    std::vector<Finding> findings;

    [[nodiscard]] Verdict Worst() const noexcept;
};

// What the doctor asks of the machine beside the platform. Throws std::bad_alloc, and where it says so
// std::runtime_error.
class DoctorMachine {
public:
    // The bytes of a module's resource; none of the module's code runs. `type` is a name, or # and a number.
    virtual tsLib::platform::SystemError ReadResource(const std::u16string& module, const std::u16string& type,
                                                      std::uint16_t id, std::vector<std::byte>& bytes) = 0;
    // Makes a new file, writes to it and takes it away again.
    virtual tsLib::platform::SystemError TryWriting(const std::u16string& path) = 0;
    // A menu on one path that was empty before this handler alone was asked. Throws std::runtime_error with a reason
    // when there can be none.
    [[nodiscard]] virtual std::unique_ptr<ShellMenu> MakeMenu(const RegisteredHandler& handler,
                                                              const std::u16string& path) = 0;
    virtual tsLib::platform::SystemError IsProtectionSuspended(bool& isSuspended) = 0;

protected:
    ~DoctorMachine() = default;
};

// Looks at the library with this full path; with an empty one at the registered library, or else at the one beside this
// program. Everything is seen as the library would see it, by the library's own code. Changes nothing that stays.
[[nodiscard]] Diagnosis Diagnose(const tsLib::platform::Platform& platform, DoctorMachine& machine,
                                 std::u16string library);

// doctor.
void AddDoctorVerb(Program& program, const tsLib::platform::Platform& platform, DoctorMachine& machine,
                   const FullPath& fullPath);

}  // namespace HVR::zebdiag
