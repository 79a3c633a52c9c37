// A trust provider with scripted answers.
#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "tests/fakes/FakeClock.h"
#include "tslib/platform/TrustProvider.h"

namespace tests {

inline constexpr auto kAnswerNoSignature = static_cast<tsLib::platform::TrustAnswer>(0x800B0100);
inline constexpr auto kAnswerBadDigest = static_cast<tsLib::platform::TrustAnswer>(0x80096010);

// Any thread. Change the public state only when no other thread is in a call. A fault's error is the answer.
class FakeTrustProvider final : public tsLib::platform::TrustProvider, public CanFail {
public:
    using Answer = tsLib::platform::TrustAnswer;

    Answer VerifyFile(const std::u16string& path, tsLib::platform::TrustAction action,
                      tsLib::platform::RevocationCheck revocation) override;
    Answer VerifyCatalogMember(const tsLib::platform::CatalogMember& member, tsLib::platform::TrustAction action,
                               tsLib::platform::RevocationCheck revocation) override;
    [[nodiscard]] std::uint32_t PolicyFlags() override { return policyFlags; }

    // By path, compared without regard to letter case.
    void SetFileAnswer(const std::u16string& path, Answer answer);
    void SetMemberAnswer(const std::u16string& catalogPath, const std::u16string& memberPath, Answer answer);

    struct Call {
        std::u16string path;  // the file, or the catalog's member
        tsLib::platform::TrustAction action;
        tsLib::platform::RevocationCheck revocation;
        // For catalog members only.
        std::u16string catalogPath;
        std::u16string memberTag;
        std::vector<std::byte> hash;
        tsLib::platform::CatalogContextHandle context{};
    };
    std::vector<Call> calls;                   // in order
    Answer otherFiles = kAnswerNoSignature;    // for files without a scripted answer
    Answer otherMembers = kAnswerNoSignature;  // for members without a scripted answer
    std::uint32_t policyFlags = 0;
    // When a clock is given, every call takes this long on it.
    FakeClock* clock = nullptr;
    std::uint32_t milliseconds = 0;
    std::function<void(const Call&)> onCall;  // runs inside every call, on the caller's thread

private:
    Answer Record(Call call, const std::u16string& key, Answer other);

    std::mutex mutex_;
    std::map<std::u16string, Answer> answers_;
};

}  // namespace tests
