#include "tests/verifytrust/TrustFixture.h"

#include "SignerNamesConfig.h"

namespace tests {

using namespace tsLib;

std::map<std::string, std::u16string> AcceptedNames(std::size_t combination) {
    static const std::map<std::string, std::string> kIdentifiers{{"CN", "2.5.4.3"}, {"OU", "2.5.4.11"},
                                                                 {"O", "2.5.4.10"}, {"L", "2.5.4.7"},
                                                                 {"ST", "2.5.4.8"}, {"C", "2.5.4.6"}};
#define NAME(key, text) {kIdentifiers.at(#key), text},
#define NAMES(n) {HALVORA_SIGNER_##n(NAME)},
    const std::vector<std::map<std::string, std::u16string>> all{HALVORA_SIGNERS(NAMES)};
#undef NAMES
#undef NAME
    return all.at(combination);
}

std::u16string AcceptedWholeSubject() { return HALVORA_ACCEPTED_SUBJECT; }

FakeCertificate OurCertificate(std::vector<std::string> furtherUsages) {
    furtherUsages.push_back(kCodeSigning);
    return {furtherUsages, AcceptedNames(), u"2.5.4.3=our subject"};
}

FakeCertificate ForeignCertificate() {
    auto names = AcceptedNames();
    for (auto& name : names) {
        name.second += u" and others";
    }
    return {{kCodeSigning}, names, u"2.5.4.3=foreign subject"};
}

TrustSystem::TrustSystem() { hash.files = &files; }

void TrustSystem::PutSigned(const std::u16string& path, FakeCertificate certificate) {
    files.PutFile(path, "signed");
    provider.SetFileAnswer(path, 0);
    signatures.PutSignature(path, std::move(certificate));
}

void TrustSystem::PutUnsigned(const std::u16string& path) { files.PutFile(path, "unsigned"); }

void TrustSystem::PutCatalogSigned(const std::u16string& path, FakeCertificate certificate) {
    files.PutFile(path, "listed");
    catalogs.sha256Catalogs[MadeUpHash(ToBytes("listed"), 32)] = {kCatalog};
    provider.SetMemberAnswer(kCatalog, path, 0);
    signatures.PutSignature(kCatalog, std::move(certificate));
}

VaneRef<IVerifyTrust> TrustSystem::Make(const VerifierOptions& options) {
    return VaneRef<IVerifyTrust>(CreateTrustVerifierStatic(services, state, options));
}

TrustResult TrustSystem::Verify(TrustLevel level, bool driverMode, bool* systemComponent) {
    return Make()->VerifyFile(kFile.c_str(), level, driverMode, systemComponent);
}

bool TrustSystem::NothingLeftOpen() const {
    return files.OpenHandles() + files.Misuses() + registry.OpenHandles() + registry.Misuses() +
                   catalogs.OpenHandles() + catalogs.Misuses() + hasher.Misuses() + signatures.OpenHandles() +
                   signatures.Misuses() ==
               0 &&
           hash.live == 0;
}

void TrustSystem::ShareFaults(FaultPlan* plan) {
    files.faults = pathForms.faults = textRules.faults = clock.faults = modules.faults = processes.faults =
        registry.faults = provider.faults = catalogs.faults = hasher.faults = signatures.faults = certificates.faults =
            hash.faults = plan;
}

}  // namespace tests
