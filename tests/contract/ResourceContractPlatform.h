// What the contract suites of the resource loader's seam run over: the fakes on the host, the Win32 classes on Windows.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "tslib/platform/CodePage.h"
#include "tslib/platform/FileSearch.h"
#include "tslib/platform/Locales.h"
#include "tslib/platform/MessageTexts.h"
#include "tslib/platform/ResourceModules.h"
#include "tslib/platform/WindowStation.h"

namespace tests {

struct ResourceSeam {
    tsLib::platform::FileSearch& files;
    tsLib::platform::ResourceModules& modules;
    tsLib::platform::Locales& locales;
    tsLib::platform::MessageTexts& messages;
    tsLib::platform::CodePage& codePage;
    tsLib::platform::WindowStation& station;
};

class ResourceContractPlatform {
public:
    // The objects live as long as the process.
    [[nodiscard]] virtual ResourceSeam Interfaces() = 0;
    // An empty folder for each test, ending in a backslash.
    virtual void SetUp() = 0;
    virtual void TearDown() = 0;
    [[nodiscard]] virtual std::u16string ScratchFolder() = 0;
    virtual void PutFile(const std::u16string& path) = 0;
    virtual void MakeFolder(const std::u16string& path) = 0;
    // The German resource module, and a file that is no module.
    [[nodiscard]] virtual std::u16string GermanModule() = 0;
    [[nodiscard]] virtual std::u16string NoModule() = 0;

protected:
    ~ResourceContractPlatform() = default;
};

// The one of this executable.
[[nodiscard]] ResourceContractPlatform& ResourceContract();

class ResourceContractTest : public ::testing::Test {
protected:
    ResourceContractTest() { contract.SetUp(); }  // not in SetUp: the fixtures below use the folder in their members
    void TearDown() override { contract.TearDown(); }

    ResourceContractPlatform& contract = ResourceContract();
    ResourceSeam seam = ResourceContract().Interfaces();
};

}  // namespace tests
