#include "tests/fakes/PlatformErrors.h"

#include <map>
#include <sstream>
#include <vector>

namespace tests {

using tsLib::platform::SystemError;

namespace {

// By operation, with the numbers that the platform's headers have. Trust answers are result codes, and so are some
// errors of signatures and of the shell.
constexpr char kTable[] = R"(
OpenKey 5 2 1018 1450; ReadValue 5 2 8 234 1018; WriteValue 5 8 1018 1450; DeleteValue 5 2 1018;
SubkeyInfo 5 8 1018; SubkeyName 5 8 1018; DeleteKey 5 2 1018 1020; Attributes 2 3 5 32 53;
OpenForReading 2 3 5 8 32 1920; Size 1117; Identity 1 87 1117; State 1 50 1117; StampOf 2 3 5 32; VolumeOf 1 5 21;
FinalPath 1 3 5 8; HoldFolder 2 3 5 32; Read 8 33 64 1117; FindFirst 2 3 5 21; FindNext 5 64 1117;
OpenText 3 5 32 112; WriteLine 33 64 112 1117; CloseText 112 1117; Count 87; Item 87; FileName 8 122 126;
MappedFile 5 8 487 1006; LoadAltered 5 8 126 127 193 1114 14001; Load 5 8 126 127 193 1114 14001;
FindEntryPoint 127; MainExecutable 126; FromAddress 126 127; FromAddressByRanges 8 1168;
MapResources 2 5 8 32 193 1117; UnmapResources 87; View 998; ReadString 8 1814; ParentId 8 24 1168;
ImageFileName 5 31 87; Start 2 3 5 8 32 193 225 740 1455 14001; ExpandEnvironment 8; LongPath 2 3 5 53;
DosDeviceTarget 2 5 122; Append 122; RemoveFileSpec 87; IsUncServer 87; LowerByLocale 8 87; FromNarrow 8 1113;
ToNarrow 8 87; SystemText 8 317 1815 15100; FillInserts 8 87; WindowStationFlags 5 6; MarkProcess 8;
FileTimeNow 87; DefaultShellFolder 2; SpecialFolder 2; TemporaryFolder 8 203; WindowsFolder 8; Allocate 8;
AcquireContext 5 8 1062; AcquireSha256Context 5 8 87 1062; NextCatalog 5 8 1062; CatalogPath 8 87;
HashSize 87 1006 1117; Hash 87 1006 1117; OpenSignature 2 5 32 0x80092009 0x8009200D; SignerInfoSize 0x8009100E;
SignerInfo 8 234 0x8009100E; FindSignerCertificate 8 0x80092004; EnhancedKeyUsages 8 234 0x80093102;
SubjectAttribute 13 1168; SubjectText 8 0x80093102;
VerifyFile 0x80070005 0x8007000E 0x80092026 0x80096005 0x80096010 0x800B0001 0x800B0003 0x800B0004 0x800B0100
    0x800B0101 0x800B0109 0x800B010C 0x800B010E;
VerifyCatalogMember 0x80070005 0x8007000E 0x80096010 0x800B0001 0x800B0100 0x800B0101 0x800B0109 0x800B010C
    0x800B010E;
SetMark 5 6 8; RemoveMark 6; IsAnySet 5 8; Kind 2 3 5 32 53; OpenFolder 3 5 21; NextEntry 5 64 1117;
Create 3 5 32 112; Write 64 112 1117; Rename 5 32 112; RemoveFile 2 5 32; InsertSeparator 8 1401;
InsertItem 8 1401; TakeDropList 0x80040064 0x80040069 0x8007000E
)";

}  // namespace

std::span<const SystemError> ErrorsOf(std::string_view operation) {
    static const auto table = [] {
        std::map<std::string, std::vector<SystemError>, std::less<>> read;
        std::istringstream rows(kTable);
        for (std::string row, name, number; std::getline(rows, row, ';');) {
            std::istringstream words(row);
            words >> name;
            while (words >> number) {
                read[name].push_back(SystemError{static_cast<std::uint32_t>(std::stoul(number, nullptr, 0))});
            }
        }
        return read;
    }();
    const auto row = table.find(operation);
    return row == table.end() ? std::span<const SystemError>() : std::span<const SystemError>(row->second);
}

bool GivesBack(std::string_view operation) {
    return operation == "UnmapResources" || operation == "CloseText" || operation == "RemoveMark";
}

}  // namespace tests
