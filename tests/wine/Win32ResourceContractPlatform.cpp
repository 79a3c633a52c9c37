// The Windows side of the resource loader's contract suites.
#include <windows.h>

#include "tests/contract/ResourceContractPlatform.h"
#include "tests/wine/ResourceStaging.h"
#include "tests/wine/WinStaging.h"
#include "tslib/platform/win32/Win32CodePage.h"
#include "tslib/platform/win32/Win32FileSearch.h"
#include "tslib/platform/win32/Win32Locales.h"
#include "tslib/platform/win32/Win32MessageTexts.h"
#include "tslib/platform/win32/Win32ResourceModules.h"
#include "tslib/platform/win32/Win32WindowStation.h"

namespace tests {

namespace {

class Win32ResourceContractPlatform final : public ResourceContractPlatform {
public:
    ResourceSeam Interfaces() override { return {files_, modules_, locales_, messages_, codePage_, station_}; }
    void SetUp() override { folder_ = FreshFolder(L"hrc"); }
    void TearDown() override {
        EXPECT_TRUE(RemoveTree(folder_.substr(0, folder_.size() - 1))) << "something was left open";
    }
    std::u16string ScratchFolder() override { return folder_; }
    void PutFile(const std::u16string& path) override { EXPECT_TRUE(PutBytes(path, "x")) << GetLastError(); }
    void MakeFolder(const std::u16string& path) override {
        EXPECT_TRUE(CreateDirectoryW(AnyLength(path).c_str(), nullptr)) << GetLastError();
    }
    std::u16string GermanModule() override { return StagedModule(1031); }
    std::u16string NoModule() override {
        PutFile(folder_ + u"broken.dll");
        return folder_ + u"broken.dll";
    }

private:
    std::u16string folder_;
    tsLib::platform::win32::Win32FileSearch files_;
    tsLib::platform::win32::Win32ResourceModules modules_;
    tsLib::platform::win32::Win32Locales locales_;
    tsLib::platform::win32::Win32MessageTexts messages_;
    tsLib::platform::win32::Win32CodePage codePage_;
    tsLib::platform::win32::Win32WindowStation station_;
};

}  // namespace

ResourceContractPlatform& ResourceContract() {
    static Win32ResourceContractPlatform platform;
    return platform;
}

}  // namespace tests
