// A trust verifier on a made-up system, and the certificates that its tests sign with.
#pragma once

#include <gtest/gtest.h>

#include "SignerNamesConfig.h"
#include "tests/fakes/FakePlatform.h"
#include "tslib/Isolation.h"
#include "tslib/VaneRef.h"
#include "tslib/verifytrust/tsVerifyTrustStatic.h"

namespace tests {

using namespace tsLib;
using enum TrustResult;
using enum SystemError;

inline const std::string kCodeSigning = "1.3.6.1.5.5.7.3.3";
inline const std::string kSystemUsage = "1.3.6.1.4.1.311.10.3.6";
inline const std::string kDriverUsage = "1.3.6.1.4.1.311.10.3.5";
inline const std::u16string kFile = u"C:\\Program Files\\Halvora\\plugin.dll";
inline const std::u16string kCatalog = u"C:\\Windows\\one.cat";
inline const std::u16string kPolicyKey =
    u"Software\\Corvane\\{01234567-89AB-CDEF-0123-456789ABCDEF}\\Tessel\\tsVerifyTrust";
inline constexpr std::u16string_view kAcceptedSubject = HALVORA_ACCEPTED_SUBJECT;

namespace subject {
inline const std::string CN = "2.5.4.3", OU = "2.5.4.11", O = "2.5.4.10", L = "2.5.4.7", ST = "2.5.4.8", C = "2.5.4.6";
}
using Names = std::map<std::string, std::u16string>;  // by dotted identifier

// The names of the configured combination 0, 1, ...
inline const Names& AcceptedNames(std::size_t combination = 0) {
#define NAME(key, text) {subject::key, text},
#define NAMES(n) {HALVORA_SIGNER_##n(NAME)},
    static const std::vector<Names> kAll{HALVORA_SIGNERS(NAMES)};
#undef NAMES
#undef NAME
    return kAll.at(combination);
}

// Of the accepted signer, or of another one: code signing, and further usages.
inline FakeCertificate OurCertificate(std::vector<std::string> usages = {}) {
    usages.push_back(kCodeSigning);
    return {usages, AcceptedNames(), u"2.5.4.3=our subject"};
}
inline FakeCertificate ForeignCertificate() { return {{kCodeSigning}, {{subject::O, u"Others"}}, {}}; }

// Providers that keep one word for every file. For the fault switch: "OpenRecord", "OpenResult", "ReadNumber".
class FakeHashProviders final : public HashProviders, FakePart {
public:
    explicit FakeHashProviders(FakePlatform& platform) : FakePart(platform), platform_(platform) {}
    [[nodiscard]] std::unique_ptr<HashProvider> Create() override {
        ++created;
        return exists ? std::make_unique<Object>(*this) : nullptr;
    }
    bool exists = true;                 // false: no provider can be made
    std::optional<std::uint32_t> word;  // "vtresult"; none: the value is not there
    std::uint32_t milliseconds = 0;     // what each step takes
    std::size_t created = 0;            // Create calls
    struct Asked {
        std::u16string file, client;
        std::optional<HashResultMode> mode;
        bool operator==(const Asked&) const = default;
    };
    std::vector<Asked> asked;  // for records, in order

private:
    // A provider, a record or a result.
    struct Object final : HashProvider, HashRecord, HashResult {
        explicit Object(FakeHashProviders& theOwner) : owner(theOwner) { ++owner.tally_.open; }
        ~Object() override { --owner.tally_.open; }
        SystemError Step(std::string_view operation, const std::function<void()>& body) {
            owner.platform_.system.ticks += owner.milliseconds;
            return owner.Call(operation, body);
        }
        SystemError OpenRecord(FileHandle file, std::u16string_view by, std::unique_ptr<HashRecord>& record) override {
            owner.asked.push_back({owner.platform_.files.PathOf(file), std::u16string(by), {}});
            return Step("OpenRecord", [&] { record = std::make_unique<Object>(owner); });
        }
        SystemError OpenResult(HashResultMode mode, std::unique_ptr<HashResult>& result) override {
            owner.asked.back().mode = mode;
            return Step("OpenResult", [&] { result = std::make_unique<Object>(owner); });
        }
        SystemError ReadNumber(std::u16string_view name, std::uint32_t& value) override {
            return Step("ReadNumber", [&] {
                Require(name == u"vtresult" && owner.word, NotFound);
                value = owner.word.value();
            });
        }
        FakeHashProviders& owner;
    };
    FakePlatform& platform_;
    Tally& tally_ = NewTally("hash provider's object");
};

struct TrustSystem : FakePlatform {
    TrustSystem() {
        disk.PutFile(u"C:\\Program Files\\Halvora\\isolate.ini",
                     "[isolation]\r\nsilo={01234567-89AB-CDEF-0123-456789ABCDEF}\r\nreghive=Software\\Corvane\r\n");
        registry.PutKey(RegistryRoot::LocalMachine, u"Software\\Corvane", kKeyView32);
    }

    // A file with an embedded signature, one without any, and one that a SHA-256 catalog alone lists.
    void PutSigned(const std::u16string& path, FakeCertificate certificate = OurCertificate(), TrustAnswer answer = 0) {
        disk.PutFile(path, "signed");
        disk.Sign(path, std::move(certificate), answer);
    }
    void PutUnsigned(const std::u16string& path) { disk.PutFile(path, "unsigned"); }
    void PutListed(const std::u16string& path, FakeCertificate certificate = OurCertificate()) {
        disk.PutFile(path, "listed");
        disk.List(path, kCatalog, 0, false, true);
        disk.Sign(kCatalog, std::move(certificate));
    }
    void PutPolicy(const std::u16string& name, RegistryValue value) {
        registry.PutValue(RegistryRoot::LocalMachine, kPolicyKey, name, std::move(value), kKeyView32);
    }

    [[nodiscard]] VaneRef<IVerifyTrust> Make(const VerifierOptions& options = {}) {
        return VaneRef<IVerifyTrust>(CreateTrustVerifierStatic(trust, options));
    }
    // One call of the full form on a new verifier.
    TrustResult Verify(TrustLevel level, bool driverMode = false, bool* systemComponent = nullptr) {
        return Make()->VerifyFile(kFile.c_str(), level, driverMode, systemComponent);
    }
    TrustResult Describe(TrustLevel level, bool thorough, const VerifierOptions& options = {}) {
        report.size = sizeof(report);
        return Make(options)->DescribeFile(kFile.c_str(), level, false, thorough, &report);
    }
    // The full check alone.
    TrustResult Check(TrustLevel level, bool thorough = false, bool driverMode = false) {
        findings = {};
        return VerifyFile(*this, {kFile, level, driverMode, thorough, kRevocationNone}, findings);
    }

    FakeHashProviders hashProviders{*this};
    Isolation isolation{*this};
    TrustContext trust{*this, &isolation, hashProviders};
    FileFindings findings;
    TrustReport report{};
};

class TrustTest : public testing::Test, public TrustSystem {
protected:
    void TearDown() override { EXPECT_EQ(Leftovers(), ""); }
};

}  // namespace tests
