// A trust verifier on a made-up system, and the certificates that its tests sign with.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "tests/fakes/FakeCatalogAdmin.h"
#include "tests/fakes/FakeCatalogHasher.h"
#include "tests/fakes/FakeCertificates.h"
#include "tests/fakes/FakeClock.h"
#include "tests/fakes/FakeFiles.h"
#include "tests/fakes/FakeModules.h"
#include "tests/fakes/FakePathForms.h"
#include "tests/fakes/FakeProcesses.h"
#include "tests/fakes/FakeRegistry.h"
#include "tests/fakes/FakeSignatureObjects.h"
#include "tests/fakes/FakeSystemInfo.h"
#include "tests/fakes/FakeTextRules.h"
#include "tests/fakes/FakeTrace.h"
#include "tests/fakes/FakeTrustProvider.h"
#include "tests/verifytrust/FakeHashProvider.h"
#include "tslib/VaneRef.h"
#include "tslib/verifytrust/tsVerifyTrustStatic.h"

namespace tests {

inline const std::string kCodeSigning = "1.3.6.1.5.5.7.3.3";
inline const std::string kSystemUsage = "1.3.6.1.4.1.311.10.3.6";
inline const std::string kDriverUsage = "1.3.6.1.4.1.311.10.3.5";
inline const std::u16string kFile = u"C:\\Program Files\\Halvora\\zebshell2.dll";
inline const std::u16string kCatalog = u"C:\\Windows\\System32\\CatRoot\\one.cat";

// The attributes of the configured combination (0, 1, ...), by dotted identifier.
std::map<std::string, std::u16string> AcceptedNames(std::size_t combination = 0);
std::u16string AcceptedWholeSubject();
// A certificate of the accepted signer, with code signing and the further usages.
FakeCertificate OurCertificate(std::vector<std::string> furtherUsages = {});
// Code signing, but another maker's names.
FakeCertificate ForeignCertificate();

class FakeSettings final : public tsLib::LibrarySettings {
public:
    [[nodiscard]] bool Root(std::u16string& out) override {
        if (known) {
            out = u"Software\\Corvane";
        }
        return known;
    }
    [[nodiscard]] std::uint32_t RegistryViewFlag() override { return view; }
    bool known = true;
    std::uint32_t view = tsLib::platform::kKeyView32;
};

class TrustSystem {
public:
    TrustSystem();

    // A file on the disk; by default with an embedded signature that the provider trusts.
    void PutSigned(const std::u16string& path, FakeCertificate certificate = OurCertificate());
    void PutUnsigned(const std::u16string& path);
    // A file without an embedded signature that a catalog lists (by SHA-256) and verifies.
    void PutCatalogSigned(const std::u16string& path, FakeCertificate certificate = OurCertificate());

    [[nodiscard]] tsLib::VaneRef<tsLib::IVerifyTrust> Make(const tsLib::VerifierOptions& options = {});
    // One call of the full form on a new verifier.
    tsLib::TrustResult Verify(tsLib::TrustLevel level, bool driverMode = false, bool* systemComponent = nullptr);

    // Everything that was opened is closed again, in the right order.
    [[nodiscard]] bool NothingLeftOpen() const;
    void ShareFaults(FaultPlan* plan);

    FakeTrace trace;
    FakeFiles files;
    FakePathForms pathForms{files};
    FakeTextRules textRules;
    FakeClock clock;
    FakeSystemInfo systemInfo;
    FakeModules modules;
    FakeProcesses processes;
    FakeRegistry registry;
    FakeTrustProvider provider;
    FakeCatalogAdmin catalogs;
    FakeCatalogHasher hasher{files, catalogs};
    FakeSignatureObjects signatures;
    FakeCertificates certificates{signatures};
    FakeHashProviders hashProviders;
    HashProviderScript& hash = hashProviders.script;
    FakeSettings settings;
    tsLib::TrustProcessState state{textRules, tsLib::Tracer(trace)};
    tsLib::tsVerifyTrustPolicy policy{registry, settings, state, tsLib::Tracer(trace)};
    tsLib::TrustServices services{
        files,    pathForms, textRules, clock,      systemInfo,   modules,       processes, registry,
        provider, catalogs,  hasher,    signatures, certificates, hashProviders, &policy,   tsLib::Tracer(trace)};
};

}  // namespace tests
