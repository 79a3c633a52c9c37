#include "tools/zebdiag/Examination.h"

#include <algorithm>
#include <utility>

#include "tslib/Utf8.h"
#include "tslib/platform/Digits.h"

namespace HVR::zebdiag {

using namespace tsLib::platform;
using tsLib::ToUtf8;
using tsLib::TraceEvent;

void ExaminePolicy(Examination& exam) {
    exam.sight.trace.Clear();
    const bool asksForRevocation = exam.sight.verifiers.AsksForRevocation();
    const KeptTrace::Record* const unread = exam.sight.trace.Find(TraceEvent::TrustPolicyUnread);
    exam.Add(kPolicyCheck, Verdict::Fine,
             std::string(asksForRevocation ? "it asks whether certificates were revoked"
                                           : "it does not ask whether certificates were revoked") +
                 (unread == nullptr ? ", as AlternateTrustPolicy says"
                                    : ", as is the rule where AlternateTrustPolicy cannot be read (error " +
                                          std::to_string(unread->number) + ")") +
                 "; the provider's policy flags are " + Hexadecimal(exam.platform.trustProvider.PolicyFlags()));
}

namespace {

template <class Tell>
bool AskCatalogs(Examination& exam, bool sha256, const std::u16string& path, FileHandle file, Tell&& tell) {
    Catalogs& catalogs = exam.platform.catalogs;
    OwnedCatalogContext context(catalogs);
    SystemError error =
        sha256 ? catalogs.AcquireSha256Context(context.Receive()) : catalogs.AcquireContext(context.Receive());
    tell("context", ErrorText(error));
    if (Failed(error)) {
        return false;
    }
    const auto makeHash = [&](std::span<std::byte> buffer, std::uint32_t& size) {
        return sha256 ? catalogs.Sha256Hash(context.Get(), file, buffer, size) : catalogs.Hash(file, buffer, size);
    };
    std::uint32_t size = 0;
    error = makeHash({}, size);
    tell("size of the hash", ErrorText(error) + ", " + std::to_string(size));
    std::vector<std::byte> hash(size);
    if (Failed(error) || hash.empty()) {
        return false;
    }
    error = makeHash(hash, size);
    hash.resize(std::min<std::size_t>(size, hash.size()));
    std::u16string tag;
    for (const std::byte byte : hash) {
        tsLib::AppendHex<2>(tag, std::to_integer<std::uint8_t>(byte));
    }
    tell("hash", ErrorText(error) + ", " + ToUtf8(tag));
    if (Failed(error)) {
        return false;
    }
    std::vector<std::u16string> paths;
    CatalogHandle catalog{};
    for (;;) {
        error = catalogs.NextCatalog(context.Get(), hash, std::exchange(catalog, {}), catalog);
        if (Failed(error)) {
            tell("end of the catalogs", ErrorText(error));
            break;
        }
        std::u16string found;
        error = catalogs.CatalogPath(catalog, found);
        tell("catalog", ErrorText(error) + ", " + ToUtf8(found));
        if (Failed(error) || paths.size() == kListed) {
            catalogs.ReleaseCatalog(context.Get(), catalog);
            break;
        }
        paths.push_back(std::move(found));
    }
    if (paths.empty()) {
        // Whatever is new is in catalogs of the other kind alone.
        return !sha256 && error == SystemError::NotFound;
    }
    const TrustAnswer answer = exam.platform.trustProvider.VerifyCatalogMember(
        {paths.front(), path, file, tag, hash, context.Get()}, TrustAction::GenericVerifyV2, RevocationCheck::None);
    tell("verdict by the first", Hexadecimal(static_cast<std::uint32_t>(answer)));
    return answer == 0;
}

}  // namespace

// One file of the system's, which its catalogs list: what each function answers on the way to a verdict.
void ExamineCatalogs(Examination& exam, bool sha256) {
    const DoctorCheck& check = sha256 ? kSha256Check : kSha1Check;
    Catalogs& catalogs = exam.platform.catalogs;
    std::u16string path;
    OwnedFile file(exam.platform.files);
    SystemError error = exam.platform.system.WindowsFolder(path);
    path += u"\\system32\\kernel32.dll";
    error = Failed(error) ? error
                          : exam.platform.files.OpenForReading(path, FileSharing::ReadersAndWriters, file.Receive());
    if (Failed(error)) {
        exam.Add(check, Verdict::NotKnown, ToUtf8(path) + " cannot be opened, " + ErrorText(error));
        return;
    }
    std::vector<std::string> steps{ToUtf8(path)};
    const auto tell = [&](const std::string& what, const std::string& answer) {
        steps.push_back(what + ": " + answer);
    };
    if (sha256) {
        tell("CryptCATAdminAcquireContext2", catalogs.HasSha256Context() ? "there" : "not there");
        tell("CryptCATAdminCalcHashFromFileHandle2", catalogs.HasSha256Hash() ? "there" : "not there");
    }
    const bool isWhole = AskCatalogs(exam, sha256, path, file.Get(), tell);
    exam.Add(check, isWhole ? Verdict::Fine : Verdict::Remark, Joined(steps, "; "),
             isWhole ? "" : "Send these answers to the support; files that are signed themselves need no catalog.");
}

}  // namespace HVR::zebdiag
