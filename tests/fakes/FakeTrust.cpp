#include "tests/fakes/FakeTrust.h"

#include <algorithm>

namespace tests {

void FakeCatalogs::ReleaseContext(CatalogContextHandle context) noexcept {
    const auto lock = Lock();
    contexts_.CountMisuse(std::ranges::any_of(
        catalogs_.All(), [context](const auto& catalog) { return catalog.second.context == context; }));
    contexts_.Remove(context);
}

SystemError FakeCatalogs::NextCatalog(CatalogContextHandle context, std::span<const std::byte> hash,
                                      CatalogHandle previous, CatalogHandle& next) {
    const auto lock = Lock();
    std::size_t index = 0;
    // It is consumed whatever the answer.
    if (const auto found = catalogs_.All().find(previous); found != catalogs_.All().end()) {
        catalogs_.CountMisuse(found->second.context != context || !std::ranges::equal(found->second.hash, hash));
        index = found->second.index + 1;
    }
    if (previous != CatalogHandle{}) {
        catalogs_.Remove(previous);
    }
    return Call("NextCatalog", [&] {
        // The length of a hash tells SHA-1 from SHA-256, and each context knows catalogs of its own kind alone.
        Require(hash.size() == (contexts_[context] ? 32 : 20), endError);
        while (index < disk_.listings.size() && !std::ranges::equal(disk_.listings[index].hash, hash)) {
            ++index;
        }
        Require(index < disk_.listings.size(), endError);
        next = catalogs_.Add({context, {hash.begin(), hash.end()}, index});
    });
}

SystemError FakeCatalogs::CatalogPath(CatalogHandle catalog, std::u16string& path) {
    const auto lock = Lock();
    const auto found = catalogs_.All().find(catalog);
    const std::u16string known =
        found == catalogs_.All().end() ? std::u16string() : disk_.listings[found->second.index].catalog;
    return Call("CatalogPath", known, [&] {
        static_cast<void>(catalogs_[catalog]);
        path = known;
    });
}

SystemError FakeCatalogs::HashFile(std::size_t length, FileHandle file, std::span<std::byte> buffer,
                                   std::uint32_t& size) {
    size = 0;
    return Call(buffer.empty() ? "HashSize" : "Hash", [&] {
        Require(file != FileHandle{}, SystemError::InvalidParameter);
        const Bytes hash = everyHash.value_or(MadeUpHash(disk_.open[file].node->bytes, length));
        Require(buffer.empty() || buffer.size() >= hash.size(), SystemError::InsufficientBuffer);
        size = static_cast<std::uint32_t>(hash.size()) + (buffer.empty() ? furtherBytesTold : 0);
        std::copy_n(hash.begin(), buffer.empty() ? 0 : hash.size(), buffer.begin());
    });
}

SystemError FakeCatalogs::Sha256Hash(CatalogContextHandle context, FileHandle file, std::span<std::byte> buffer,
                                     std::uint32_t& size) {
    const auto lock = Lock();
    const bool isOpen = contexts_.All().contains(context);
    contexts_.CountMisuse(!isOpen && context != CatalogContextHandle{});
    size = 0;
    return !hasSha256Hash ? SystemError::ProcedureNotFound
           : !isOpen      ? SystemError::InvalidParameter
                          : HashFile(32, file, buffer, size);
}

SystemError FakeSignatures::SignerInfo(SignatureHandle signature, std::span<std::byte> buffer) {
    return Call("SignerInfo", [&] {
        SignatureState& state = signatures_[signature];
        Require(buffer.size() >= signerInfoSize, SystemError::MoreData);
        std::ranges::fill(buffer, std::byte{0x51});
        state.filled = buffer.data();
    });
}

SystemError FakeSignatures::FindSignerCertificate(SignatureHandle signature, std::span<const std::byte> signerInfo,
                                                  CertificateHandle& certificate) {
    return Call("FindSignerCertificate", [&] {
        const SignatureState& state = signatures_[signature];
        const bool isFilled = !signerInfo.empty() && signerInfo.data() == state.filled;
        signatures_.CountMisuse(!isFilled);
        Require(isFilled, kNoCertificate);
        certificate = certificates_.Add({state.certificate, signature});
    });
}

void FakeSignatures::Close(SignatureHandle signature) noexcept {
    const auto lock = Lock();
    signatures_.CountMisuse(std::ranges::any_of(
        certificates_.All(), [=](const auto& certificate) { return certificate.second.signature == signature; }));
    signatures_.Remove(signature);
}

SystemError FakeSignatures::SubjectAttribute(CertificateHandle certificate, const char* identifier,
                                             std::u16string& value) {
    const std::string_view name(identifier);
    return Call("SubjectAttribute", std::u16string(name.begin(), name.end()), [&] {
        auto& attributes = certificates_[certificate].certificate.attributes;
        const std::u16string& found = At(attributes, identifier, SystemError::NotFound);
        Require(!found.empty(), SystemError::NotFound);
        Require(found.find(u'\0') == std::u16string::npos, SystemError::InvalidData);
        value = found.substr(0, 259);
    });
}

TrustAnswer FakeTrustProvider::Answer(const char* operation, const Asked& asked,
                                      const std::function<TrustAnswer()>& verify) {
    system_.ticks += milliseconds;
    if (onCall) {
        onCall(asked);
    }
    Keep(calls, asked);
    TrustAnswer answer = 0;
    const SystemError fault = Call(operation, asked.path, [&] { answer = verify(); });
    return Failed(fault) ? static_cast<TrustAnswer>(Number(fault)) : answer;
}

TrustAnswer FakeTrustProvider::VerifyCatalogMember(const CatalogMember& member, TrustAction action,
                                                   RevocationCheck revocation) {
    const Bytes hash(member.hash.begin(), member.hash.end());
    return Answer(
        "VerifyCatalogMember",
        {member.memberPath, action, revocation, member.catalogPath, member.memberTag, hash, member.context}, [&] {
            const bool isUnchanged = MadeUpHash(disk_.Existing(member.memberPath)->bytes, hash.size()) == hash;
            const auto listing = std::ranges::find_if(disk_.listings, [&](const Listing& known) {
                return known.hash == hash && PlainPath(known.catalog) == PlainPath(member.catalogPath);
            });
            const bool isListed = listing != disk_.listings.end() && disk_.Exists(member.catalogPath);
            return !isListed ? kAnswerNoSignature : isUnchanged ? listing->answer : kAnswerBadDigest;
        });
}

}  // namespace tests
