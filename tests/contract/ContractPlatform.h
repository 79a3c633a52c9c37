// What the contract suites run over: the fakes on the host, the Win32 classes on Windows. The link decides.
//
// A suite states what both sides do alike, so that a test over a fake says something about the platform. A case that
// only one side can show belongs elsewhere. No case shows a message box: it waits for a user, and needs a display.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tslib/platform/Catalogs.h"
#include "tslib/platform/Desktop.h"
#include "tslib/platform/DropList.h"
#include "tslib/platform/Files.h"
#include "tslib/platform/Modules.h"
#include "tslib/platform/PathForms.h"
#include "tslib/platform/Platform.h"
#include "tslib/platform/Processes.h"
#include "tslib/platform/Registry.h"
#include "tslib/platform/Signatures.h"
#include "tslib/platform/System.h"
#include "tslib/platform/TextOutput.h"
#include "tslib/platform/TextRules.h"
#include "tslib/platform/TraceOutput.h"
#include "tslib/platform/TrustProvider.h"

namespace tests {

using namespace tsLib::platform;

// Staging goes past the seam. A staging step that fails adds a test failure.
class ContractPlatform {
public:
    // These live until TearDown.
    [[nodiscard]] virtual const Platform& Interfaces() = 0;
    [[nodiscard]] virtual TextOutput& Text() = 0;
    [[nodiscard]] virtual TextRules& Japanese() = 0;  // code page 932

    // Before every test: an empty scratch folder and no scratch key. After every test: what is left open is a failure,
    // where the side can know it.
    virtual void SetUp() = 0;
    virtual void TearDown() = 0;

    // An existing folder with short ASCII names of its own, ending in a backslash.
    [[nodiscard]] virtual std::u16string ScratchFolder() = 0;
    // Paths of any length; the folder must exist.
    virtual void PutFile(const std::u16string& path, std::string_view bytes) = 0;
    virtual void MakeFolder(const std::u16string& path) = 0;
    // The file's bytes, read with all sharing allowed. Empty when it cannot be read.
    [[nodiscard]] virtual std::string FileText(const std::u16string& path) = 0;
    // Holds the file open for writing, sharing everything, until the result is destroyed.
    [[nodiscard]] virtual std::shared_ptr<void> HoldForWriting(const std::u16string& path) = 0;
    // What somebody who shares everything is answered when he opens the existing file for writing, deletes it, or
    // moves another file over it. The scratch file is changed when that succeeds.
    [[nodiscard]] virtual SystemError TryWrite(const std::u16string& path) = 0;
    [[nodiscard]] virtual SystemError TryRemove(const std::u16string& path) = 0;
    [[nodiscard]] virtual SystemError TryReplace(const std::u16string& path) = 0;
    // The 8.3 form of an existing path, or the path itself where the volume has none.
    [[nodiscard]] virtual std::u16string ShortForm(const std::u16string& path) = 0;

    // A path below HKEY_LOCAL_MACHINE\Software, without a trailing backslash. No such key exists when a test begins, in
    // either view.
    [[nodiscard]] virtual std::u16string ScratchKey() = 0;
    // A binary value of any size, which the seam would not write. Makes the key, in the 64-bit view.
    virtual void PutBinaryValue(const std::u16string& keyPath, const std::u16string& name, std::size_t bytes) = 0;

    // The name lives as long as the process.
    virtual void SetEnvironment(const char16_t* name, const std::u16string& value) = 0;

    // Puts a module that exports "GetFactory" into the scratch folder; whether this process has it loaded.
    virtual void PutModule(const std::u16string& path) = 0;
    [[nodiscard]] virtual bool IsLoaded(const std::u16string& path) = 0;
    // The German resource module.
    [[nodiscard]] virtual std::u16string GermanModule() = 0;

    // Sample modules: signed by a private chain with the names below and the code-signing usage; the same with a byte
    // changed; without any signature.
    [[nodiscard]] virtual std::u16string SignedFile() = 0;
    [[nodiscard]] virtual std::u16string TamperedFile() = 0;
    [[nodiscard]] virtual std::u16string UnsignedFile() = 0;
    // The subject of the signed file's signer by dotted identifier: 2.5.4.3, .11, .10, .7, .8 and .6.
    [[nodiscard]] virtual std::map<std::string, std::u16string> SignerAttributes() = 0;
    // Puts an unsigned catalog into the system's catalog folder, until the test's end, that lists these SHA-1 hashes.
    virtual void PutCatalog(const std::u16string& name, const std::vector<std::vector<std::byte>>& hashes) = 0;

    // The full path of the running executable.
    [[nodiscard]] virtual std::u16string ExecutablePath() = 0;
    // A command line that starts something which ends by itself, without output or window.
    [[nodiscard]] virtual std::u16string HarmlessCommandLine() = 0;

    // Makes a drop list of wide paths for the length of `use`; null items stand for no list at all.
    virtual void WithDropList(const std::vector<std::u16string>* items, const std::function<void(DropList&)>& use) = 0;

protected:
    ~ContractPlatform() = default;
};

// The one of this executable.
[[nodiscard]] ContractPlatform& Contract();

class ContractTest : public ::testing::Test {
protected:
    void TearDown() override { contract.TearDown(); }

    // A folder in the scratch folder whose path is longer than 260 characters, ending in a backslash.
    [[nodiscard]] std::u16string MakeDeepFolder() {
        std::u16string deep = folder;
        while (deep.size() < 300) {
            deep += std::u16string(50, u'd') + u'\\';
            contract.MakeFolder(deep);
        }
        return deep;
    }

    ContractPlatform& contract = SetUpContract();
    const Platform& platform = contract.Interfaces();
    const std::u16string folder = contract.ScratchFolder();

private:
    // Before the members of any suite.
    static ContractPlatform& SetUpContract() {
        Contract().SetUp();
        return Contract();
    }
};

}  // namespace tests
