// What the contract suites run over: the fakes on the host, the Win32 classes on Windows. The link decides.
//
// A suite states what both sides do alike, so that a test over a fake says something about the platform. A case that
// only one side can show belongs elsewhere. No case shows a message box: it waits for a user, and needs a display.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <memory>

#include "SignerNamesConfig.h"
#include "tslib/platform/Platform.h"
#include "tslib/platform/TextOutput.h"

namespace tests {

using namespace tsLib::platform;

// What is only declared here is defined by each side. Staging goes past the seam and ends with the test; a step that
// fails adds a test failure, and so does what a test leaves open, where the side can know it.
struct ContractTest : testing::Test, protected Platform {
    ContractTest();
    ~ContractTest() override;

    // Paths of any length; the folder must exist.
    static void PutFile(const std::u16string& path, std::string_view bytes);
    static void MakeFolder(const std::u16string& path);
    // A module that exports "GetFactory".
    static void PutModule(const std::u16string& path);
    // The file's bytes, read with all sharing allowed. Empty when it cannot be read.
    [[nodiscard]] static std::string FileText(const std::u16string& path);
    // What somebody who shares everything is answered when he deletes the existing file, or opens it for writing, which
    // he does until the handle is destroyed.
    [[nodiscard]] static SystemError TryRemove(const std::u16string& path);
    [[nodiscard]] static std::pair<SystemError, std::shared_ptr<void>> TryWrite(const std::u16string& path);
    // What somebody is answered who exchanges two files or folders by renaming, which he then has done.
    [[nodiscard]] static SystemError TrySwap(const std::u16string& one, const std::u16string& other);
    // A binary value of any size in the scratch key, which is made in the 64-bit view.
    void PutBinaryValue(const char16_t* name, std::size_t bytes);
    // The name lives as long as the process.
    static void SetEnvironment(const char16_t* name, const std::u16string& value);
    // An unsigned catalog in the system's catalog folder that lists the SHA-1 hash of unsigned.exe.
    static void PutCatalog(const char16_t* name);

    // A folder in the scratch folder whose path is longer than 260 characters, ending in a backslash.
    [[nodiscard]] std::u16string MakeDeepFolder() {
        std::u16string deep = folder;
        while (deep.size() < 300) {
            deep += std::u16string(50, u'd') + u'\\';
            MakeFolder(deep);
        }
        return deep;
    }

    TextOutput& output;
    TextRules& japanese;                // code page 932
    const std::u16string executable;    // the full path of this program
    const std::u16string germanModule;  // and of the German strings
    // Of sample programs, ending in a backslash: good.exe, signed by a private chain with SignerAttributes and the
    // code-signing usage; tampered.exe, the same with a byte changed; unsigned.exe.
    const std::u16string samples;
    // An empty folder with a short ASCII path, ending in a backslash.
    const std::u16string folder;
    // A path below HKEY_LOCAL_MACHINE\Software, without a trailing backslash. There is no such key, in either view.
    const std::u16string scratch;
    std::u16string text = u"before";  // for what operations tell, or leave as it is
};

// By dotted identifier.
[[nodiscard]] inline std::map<std::string, std::u16string> SignerAttributes() {
    const std::string CN = "2.5.4.3", OU = "2.5.4.11", O = "2.5.4.10", L = "2.5.4.7", ST = "2.5.4.8", C = "2.5.4.6";
#define ATTRIBUTE(key, value) {key, value},
    return {HALVORA_SIGNER_1(ATTRIBUTE)};
#undef ATTRIBUTE
}

}  // namespace tests
