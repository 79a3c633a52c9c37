// A trust verifier on a made-up system, and the certificates that its tests sign with.
#pragma once

#include "SignerNamesConfig.h"
#include "tests/tslib/PathWorld.h"
#include "tslib/VaneRef.h"
#include "tslib/verifytrust/tsVerifyTrustStatic.h"

namespace tests {

using enum TrustResult;
using enum SystemError;

inline const std::string kCodeSigning = "1.3.6.1.5.5.7.3.3";
inline const std::string kSystemUsage = "1.3.6.1.4.1.311.10.3.6";
inline const std::string kDriverUsage = "1.3.6.1.4.1.311.10.3.5";
inline const std::u16string kFile = u"C:\\Program Files\\Halvora\\plugin.dll";
inline const std::u16string kCatalog = u"C:\\Windows\\one.cat";
inline const std::u16string kPolicyKey = PathWorld::kHive + u"\\" + PathWorld::kSilo + u"\\Tessel\\tsVerifyTrust";
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

// Providers that keep one word for every file. One thread. For the fault switch: "OpenRecord", "OpenResult",
// "ReadNumber".
class FakeHashProviders final : public HashProviders, FakePart {
public:
    explicit FakeHashProviders(FakePlatform& platform) : FakePart(platform), platform_(platform) {}
    [[nodiscard]] std::unique_ptr<HashProvider> Create() override {
        ThrowIn("creation");
        ++created;
        return exists ? std::make_unique<Object>(*this) : nullptr;
    }
    bool exists = true;                 // false: no provider can be made
    std::optional<std::uint32_t> word;  // "vtresult"; none: the value is not there
    std::uint32_t milliseconds = 0;     // what each step takes
    std::size_t created = 0;            // Create calls
    std::string_view broken;            // the step that throws: "creation", "record" or "keeping"
    // File, client and mode of every record asked for, in order; the mode stays 0 when it does not come to that.
    std::vector<std::tuple<std::u16string, std::u16string, HashResultMode>> asked;

private:
    // A provider, a record or a result.
    struct Object final : HashProvider, HashRecord, HashResult {
        explicit Object(FakeHashProviders& theOwner) : owner(theOwner) {}
        SystemError Step(std::string_view operation, const std::function<void()>& body) {
            owner.platform_.system.ticks += owner.milliseconds;
            return owner.Call(operation, body);
        }
        SystemError OpenRecord(const HeldFile& file, CheckKind, std::u16string_view by,
                               std::unique_ptr<HashRecord>& record) override {
            owner.ThrowIn("record");
            owner.asked.emplace_back(owner.platform_.files.PathOf(file.Handle()), by, HashResultMode{});
            return Step("OpenRecord", [&] { record = std::make_unique<Object>(owner); });
        }
        void Keep(const HeldFile&, CheckKind, std::uint32_t) override { owner.ThrowIn("keeping"); }
        SystemError OpenResult(HashResultMode mode, std::unique_ptr<HashResult>& result) override {
            std::get<HashResultMode>(owner.asked.back()) = mode;
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
    void ThrowIn(std::string_view step) const { broken == step ? throw std::runtime_error("broken") : void(); }

    FakePlatform& platform_;
};

struct TrustSystem : PathWorld {
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
        registry.PutValue(kMachine, kPolicyKey, name, std::move(value), kKeyView32);
    }
    [[nodiscard]] VaneRef<IVerifyTrust> Make(const VerifierOptions& options = {}) {
        return VaneRef<IVerifyTrust>(CreateTrustVerifierStatic(trust, options));
    }
    TrustResult Verify(TrustLevel level) { return Make()->VerifyFile(kFile.c_str(), level); }
    TrustResult Describe(TrustLevel level, bool thorough, const VerifierOptions& options = {}) {
        report.size = sizeof(report);
        return Make(options)->DescribeFile(kFile.c_str(), level, false, thorough, &report);
    }
    // The full check alone.
    TrustResult Check(TrustLevel level, bool thorough = false, bool driverMode = false) {
        findings = {};
        const HeldFile file(files, kFile);
        return VerifyFile(*this, {kFile, file, level, {driverMode, kRevocationNone}, thorough}, findings);
    }

    FakeHashProviders hashProviders{*this};
    TrustContext trust{*this, &isolation, hashProviders};
    FileFindings findings;
    TrustReport report{};
};

struct TrustTest : testing::Test, TrustSystem {};

}  // namespace tests
