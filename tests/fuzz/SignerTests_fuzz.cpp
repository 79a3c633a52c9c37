// Certificates with any usages and subject: who is accepted is decided from the configured names alone, here in plain
// text.
//
// The input's first byte is the level, with 0x80 for driver mode. A line "uTEXT" is a usage, "u@n" the n-th known one;
// "sTEXT" is the whole subject, "s@" the accepted one; "nKTEXT" is attribute K, "nK@m" that of accepted signer m,
// with what is behind it appended.
#include "SignerNamesConfig.h"
#include "tests/fakes/FakePlatform.h"
#include "tests/fuzz/Fuzz.h"
#include "tslib/IVerifyTrust.h"
#include "tslib/verifytrust/SignerTests.h"

namespace {

using namespace tests;
using Names = std::map<std::string, std::u16string>;

constexpr auto kKeys = std::to_array({"2.5.4.3", "2.5.4.11", "2.5.4.10", "2.5.4.7", "2.5.4.8", "2.5.4.6"});
constexpr auto kUsages = std::to_array({"1.3.6.1.5.5.7.3.3", "1.3.6.1.4.1.311.10.3.6", "1.3.6.1.4.1.311.10.3.5"});

const std::vector<std::array<std::u16string, 6>>& Accepted() {
#define NAME(key, text) text,
#define NAMES(n) {HALVORA_SIGNER_##n(NAME)},
    static const std::vector<std::array<std::u16string, 6>> kAll{HALVORA_SIGNERS(NAMES)};
#undef NAMES
#undef NAME
    return kAll;
}

// A text in which "@" and a digit stand for one of the known texts.
template <class Texts>
auto Chosen(const Texts& known, auto text) {
    if (text.size() >= 2 && text[0] == '@') {
        const auto behind = text.substr(2);
        text = known[static_cast<std::size_t>(text[1]) % known.size()];
        text += behind;
    }
    return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const tsLib::TrustLevel level = data[0] & 0x7FU;
    const bool driverMode = data[0] >= 0x80;
    FakeCertificate certificate;
    for (const fuzz::Bytes line : fuzz::Lines({data + 1, size - 1})) {
        const std::u16string text = line.empty() ? u"" : fuzz::Wide(line.subspan(1));
        if (!line.empty() && line[0] == 'u') {
            certificate.usages.push_back(Chosen(kUsages, std::string(fuzz::Narrow(line.subspan(1)))));
        } else if (!line.empty() && line[0] == 's') {
            certificate.subjectText = text.starts_with(u'@') ? HALVORA_ACCEPTED_SUBJECT + text.substr(1) : text;
        } else if (!text.empty()) {
            const std::size_t attribute = text[0] % kKeys.size();
            std::vector<std::u16string> known;
            for (const auto& names : Accepted()) {
                known.push_back(names[attribute]);
            }
            certificate.attributes[kKeys[attribute]] = Chosen(known, text.substr(1));
        }
    }
    const auto has = [&](std::size_t usage) { return std::ranges::count(certificate.usages, kUsages[usage]) != 0; };
    // Common name, unit, organisation, locality, state, country, as in the configuration.
    const auto matches = [&](std::initializer_list<std::size_t> attributes) {
        return std::ranges::any_of(Accepted(), [&](const auto& names) {
            return std::ranges::all_of(attributes, [&](std::size_t attribute) {
                const auto found = certificate.attributes.find(kKeys[attribute]);
                return found != certificate.attributes.end() && found->second == names[attribute];
            });
        });
    };
    const bool isDriver = has(0) && has(2);
    const bool isAccepted = (has(0) || certificate.subjectText == HALVORA_ACCEPTED_SUBJECT) &&
                            (level != 3 || matches({0, 1, 2, 3, 4, 5})) &&
                            ((level != 4 && level != 5) || matches({1, 2})) &&
                            (level != 5 || matches({0, 2, 3, 4, 5})) && (!driverMode || isDriver);

    FakePlatform fake;
    const CertificateHandle opened = fake.signatures.OpenCertificate(certificate);
    const auto subject = tsLib::ReadSubject(fake.signatures, opened);
    std::uint32_t flags = 0;
    bool isSystem = true;
    const auto verdict = tsLib::JudgeSigner(fake, opened, subject, level, driverMode, flags, isSystem);
    fake.signatures.FreeCertificate(opened);
    using tsLib::TrustResult;
    PROPERTY(verdict == (level == 0   ? TrustResult::InvalidArgument
                         : isAccepted ? TrustResult::Trusted
                                      : TrustResult::NotTrusted));
    PROPERTY(level == 0 || isSystem == (has(0) && has(1)));
    const bool passedA = (flags & tsLib::kTestAPassed) != 0;
    const bool passedC = (flags & tsLib::kTestCPassed) != 0;
    PROPERTY(passedC == (level != 0 && passedA && matches({1, 2})));
    PROPERTY(((flags & tsLib::kDriverVerified) != 0) == (passedC && isDriver));
    PROPERTY(fake.Leftovers().empty());
    return 0;
}
