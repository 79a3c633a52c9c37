// What the contract suites run over: the fakes on the host, the Win32 classes on Windows. The link decides.
//
// A suite states what both sides do alike, so that a test over a fake says something about the platform. A case that
// only one side can show belongs elsewhere.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tslib/platform/CatalogAdmin.h"
#include "tslib/platform/Clock.h"
#include "tslib/platform/ComponentMemory.h"
#include "tslib/platform/DropList.h"
#include "tslib/platform/Files.h"
#include "tslib/platform/KnownFolders.h"
#include "tslib/platform/Modules.h"
#include "tslib/platform/NarrowCharacters.h"
#include "tslib/platform/PathForms.h"
#include "tslib/platform/Processes.h"
#include "tslib/platform/Registry.h"
#include "tslib/platform/RegistryTree.h"
#include "tslib/platform/SignatureObjects.h"
#include "tslib/platform/SystemInfo.h"
#include "tslib/platform/TextOutput.h"
#include "tslib/platform/TextRules.h"
#include "tslib/platform/TrustProvider.h"

namespace tests {

struct Seam {
    tsLib::platform::Registry& registry;
    tsLib::platform::Files& files;
    tsLib::platform::TextOutput& text;
    tsLib::platform::PathForms& paths;
    tsLib::platform::KnownFolders& folders;
    tsLib::platform::Modules& modules;
    tsLib::platform::Processes& processes;
    tsLib::platform::ProcessStarter& starter;
    tsLib::platform::Clock& clock;
    tsLib::platform::TextRules& rules;
    tsLib::platform::SystemInfo& system;
    tsLib::platform::TrustProvider& trust;
    tsLib::platform::CatalogAdmin& catalogs;
    tsLib::platform::CatalogHasher& hasher;
    tsLib::platform::SignatureObjects& signatures;
    tsLib::platform::Certificates& certificates;
    tsLib::platform::ComponentMemory& memory;
    tsLib::platform::RegistryTree& tree;
    tsLib::platform::NarrowCharacters& japanese;  // code page 932
};

// Staging goes past the seam. A staging step that fails adds a test failure.
class ContractPlatform {
public:
    using SystemError = tsLib::platform::SystemError;

    // The objects live as long as the process.
    [[nodiscard]] virtual Seam Interfaces() = 0;

    // Before every test: an empty scratch folder and no scratch key. After every test: what is left open is a failure,
    // where the side can know it.
    virtual void SetUp() = 0;
    virtual void TearDown() = 0;

    // An existing folder with short ASCII names of its own, ending in a backslash.
    [[nodiscard]] virtual std::u16string ScratchFolder() = 0;
    // Paths of any length; the folder must exist.
    virtual void PutFile(const std::u16string& path, std::string_view bytes) = 0;
    virtual void MakeFolder(const std::u16string& path) = 0;
    virtual void RemoveFile(const std::u16string& path) = 0;
    // The file's bytes, read with all sharing allowed. Empty when it cannot be read.
    [[nodiscard]] virtual std::string FileText(const std::u16string& path) = 0;
    // Holds the file open for writing, sharing everything, until the result is destroyed.
    [[nodiscard]] virtual std::shared_ptr<void> HoldForWriting(const std::u16string& path) = 0;
    // What somebody who shares everything is answered when he opens the existing file for writing, deletes it, or
    // moves another file over it. The scratch file is changed when that succeeds.
    [[nodiscard]] virtual SystemError TryOpenForWriting(const std::u16string& path) = 0;
    [[nodiscard]] virtual SystemError TryRemove(const std::u16string& path) = 0;
    [[nodiscard]] virtual SystemError TryReplace(const std::u16string& path) = 0;
    // The 8.3 form of an existing path, or the path itself where the volume has none.
    [[nodiscard]] virtual std::u16string ShortForm(const std::u16string& path) = 0;

    // A path below HKEY_LOCAL_MACHINE\Software, without a trailing backslash. No such key exists when a test begins, in
    // either view.
    [[nodiscard]] virtual std::u16string ScratchKey() = 0;
    // A binary value of any size, which the seam would not write. Makes the key, in the 64-bit view.
    virtual void PutBinaryValue(const std::u16string& keyPath, const std::u16string& name, std::size_t bytes) = 0;

    virtual void SetEnvironment(const std::u16string& name, const std::u16string& value) = 0;

    // Sample modules: signed by a private chain with the names below and the code-signing usage; the same with a byte
    // changed; without any signature.
    [[nodiscard]] virtual std::u16string SignedFile() = 0;
    [[nodiscard]] virtual std::u16string TamperedFile() = 0;
    [[nodiscard]] virtual std::u16string UnsignedFile() = 0;
    // The subject of the signed file's signer by dotted identifier: 2.5.4.3, .11, .10, .7, .8 and .6.
    [[nodiscard]] virtual std::map<std::string, std::u16string> SignerAttributes() = 0;

    // The full path of the running executable.
    [[nodiscard]] virtual std::u16string ExecutablePath() = 0;
    // A command line that starts something which ends by itself, without output or window.
    [[nodiscard]] virtual std::u16string HarmlessCommandLine() = 0;

    // Makes a drop list of wide paths for the length of `use`; null items stand for no list at all.
    virtual void WithDropList(const std::vector<std::u16string>* items,
                              const std::function<void(tsLib::platform::DropList&)>& use) = 0;

protected:
    ~ContractPlatform() = default;
};

// The one of this executable.
[[nodiscard]] ContractPlatform& Contract();

class ContractTest : public ::testing::Test {
protected:
    // Set up before the members of a suite, which may ask for the scratch folder.
    ContractTest() { contract.SetUp(); }
    void TearDown() override { contract.TearDown(); }

    ContractPlatform& contract = Contract();
    Seam seam = Contract().Interfaces();
};

}  // namespace tests
