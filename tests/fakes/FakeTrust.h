// Catalogs, signatures and the trust provider over the disk.
#pragma once

#include "tests/fakes/Disk.h"
#include "tests/fakes/FakeDesktop.h"
#include "tslib/platform/Catalogs.h"
#include "tslib/platform/Signatures.h"

namespace tests {

// Any thread. Operations for the fault switch: the calls of Hash and Sha256Hash that ask for the size are "HashSize",
// those that fill the buffer "Hash". Misuses are also catalogs given to another context than theirs, and contexts that
// are released before their catalogs.
class FakeCatalogs final : public Catalogs, FakePart {
public:
    explicit FakeCatalogs(Disk& disk) : FakePart(disk.Core()), disk_(disk) {}

    [[nodiscard]] bool HasSha256Context() const noexcept override { return hasSha256Context; }
    SystemError AcquireContext(CatalogContextHandle& context) override { return Acquire(false, context); }
    SystemError AcquireSha256Context(CatalogContextHandle& context) override { return Acquire(true, context); }
    void ReleaseContext(CatalogContextHandle context) noexcept override {
        const auto lock = Lock();
        contexts_.CountMisuse(std::ranges::any_of(
            catalogs_.All(), [context](const auto& catalog) { return catalog.second.context == context; }));
        contexts_.Remove(context);
    }
    SystemError NextCatalog(CatalogContextHandle context, std::span<const std::byte> hash, CatalogHandle previous,
                            CatalogHandle& next) override {
        const auto lock = Lock();
        std::list<std::u16string> left;
        if (previous == CatalogHandle{}) {
            for (const Listing& listing : disk_.listings) {
                left.insert(left.end(), std::ranges::equal(listing.hash, hash) ? 1 : 0, listing.catalog);
            }
        } else {  // it is consumed whatever the answer
            if (CatalogState* const last = catalogs_.Find(previous); last != nullptr) {
                catalogs_.CountMisuse(last->context != context);
                left.splice(left.end(), last->left, ++last->left.begin(), last->left.end());
            }
            catalogs_.Remove(previous);
        }
        return Call("NextCatalog", [&] {
            // The length of a hash tells SHA-1 from SHA-256, and each context knows catalogs of its own kind alone.
            Require(hash.size() == (contexts_[context] ? 32 : 20) && !left.empty(), endError);
            next = catalogs_.Add({context, std::move(left)});
        });
    }
    SystemError CatalogPath(CatalogHandle catalog, std::u16string& path) override {
        const auto lock = Lock();
        const CatalogState* const state = catalogs_.Find(catalog);
        const std::u16string known = state == nullptr ? u"" : state->left.front();
        return Call("CatalogPath", known, [&] {
            static_cast<void>(catalogs_[catalog]);
            path = known;
        });
    }
    void ReleaseCatalog(CatalogContextHandle context, CatalogHandle catalog) noexcept override {
        const auto lock = Lock();
        const CatalogState* const state = catalogs_.Find(catalog);
        catalogs_.CountMisuse(state != nullptr && state->context != context);
        catalogs_.Remove(catalog);
    }
    [[nodiscard]] bool HasSha256Hash() const noexcept override { return hasSha256Hash; }
    SystemError Hash(FileHandle file, std::span<std::byte> buffer, std::uint32_t& size) override {
        return HashFile(20, file, buffer, size);
    }
    SystemError Sha256Hash(CatalogContextHandle context, FileHandle file, std::span<std::byte> buffer,
                           std::uint32_t& size) override {
        const auto lock = Lock();
        const bool isOpen = contexts_.Find(context) != nullptr;
        contexts_.CountMisuse(!isOpen && context != CatalogContextHandle{});
        size = 0;
        return !hasSha256Hash ? SystemError::ProcedureNotFound
               : !isOpen      ? SystemError::InvalidParameter
                              : HashFile(32, file, buffer, size);
    }

    bool hasSha256Context = true;
    bool hasSha256Hash = true;
    SystemError endError = SystemError::NotFound;  // what ends an enumeration
    std::optional<Bytes> everyHash;                // when set, the hash of every file; empty for a size of 0
    std::uint32_t furtherBytesTold = 0;            // by how much the size that is told first is too large
    std::size_t acquired = 0;                      // successful acquisitions

private:
    struct CatalogState {
        CatalogContextHandle context;
        std::list<std::u16string> left;  // its path, then those of the catalogs that follow
    };

    SystemError Acquire(bool sha256, CatalogContextHandle& context) {
        return Call(sha256 ? "AcquireSha256Context" : "AcquireContext", [&] {
            Require(!sha256 || hasSha256Context, SystemError::ProcedureNotFound);
            context = contexts_.Add(sha256);
            ++acquired;
        });
    }
    SystemError HashFile(std::size_t length, FileHandle file, std::span<std::byte> buffer, std::uint32_t& size) {
        size = 0;
        return Call(buffer.empty() ? "HashSize" : "Hash", [&] {
            Require(file != FileHandle{}, SystemError::InvalidParameter);
            const Bytes hash = everyHash.value_or(MadeUpHash(disk_.open[file].node->bytes, length));
            Require(buffer.empty() || buffer.size() >= hash.size(), SystemError::InsufficientBuffer);
            size = static_cast<std::uint32_t>(hash.size()) + (buffer.empty() ? furtherBytesTold : 0);
            std::copy_n(hash.begin(), buffer.empty() ? 0 : hash.size(), buffer.begin());
        });
    }

    Disk& disk_;
    HandleTable<CatalogContextHandle, bool> contexts_{core_, "catalog context", SystemError::InvalidParameter};
    HandleTable<CatalogHandle, CatalogState> catalogs_{core_, "catalog", SystemError::InvalidParameter};
};

// One thread. Opening is "OpenSignature" for the fault switch. Misuses are also signatures that are closed before their
// certificates, and searches with another buffer than the one that was filled.
class FakeSignatures final : public Signatures, FakePart {
public:
    explicit FakeSignatures(Disk& disk) : FakePart(disk.Core()), disk_(disk) {}

    SystemError Open(const std::u16string& path, SignatureHandle& signature) override {
        Keep(opened, path);
        return Call("OpenSignature", path, [&] {
            const std::shared_ptr<Node> node = disk_.Existing(path);
            Require(node->certificate.has_value(), kNoSignatureObject);
            signature = signatures_.Add({*node->certificate});
        });
    }
    SystemError SignerInfoSize(SignatureHandle signature, std::uint32_t& size) override {
        return Call("SignerInfoSize", [&] {
            static_cast<void>(signatures_[signature]);
            size = signerInfoSize;
        });
    }
    SystemError SignerInfo(SignatureHandle signature, std::span<std::byte> buffer) override {
        return Call("SignerInfo", [&] {
            SignatureState& state = signatures_[signature];
            Require(buffer.size() >= signerInfoSize, SystemError::MoreData);
            std::ranges::fill(buffer, std::byte{0x51});
            state.filled = buffer.data();
        });
    }
    SystemError FindSignerCertificate(SignatureHandle signature, std::span<const std::byte> signerInfo,
                                      CertificateHandle& certificate) override {
        return Call("FindSignerCertificate", [&] {
            const SignatureState& state = signatures_[signature];
            const bool isFilled = !signerInfo.empty() && signerInfo.data() == state.filled;
            signatures_.CountMisuse(!isFilled);
            Require(isFilled, kNoCertificate);
            certificate = certificates_.Add({state.certificate, signature});
        });
    }
    void FreeCertificate(CertificateHandle certificate) noexcept override { certificates_.Remove(certificate); }
    void Close(SignatureHandle signature) noexcept override {
        const auto lock = Lock();
        signatures_.CountMisuse(std::ranges::any_of(
            certificates_.All(), [=](const auto& certificate) { return certificate.second.signature == signature; }));
        signatures_.Remove(signature);
    }
    SystemError EnhancedKeyUsages(CertificateHandle certificate, std::vector<std::string>& usages) override {
        return Call("EnhancedKeyUsages", [&] { usages = certificates_[certificate].certificate.usages; });
    }
    SystemError SubjectAttribute(CertificateHandle certificate, const char* identifier,
                                 std::u16string& value) override {
        const std::string_view name(identifier);
        return Call("SubjectAttribute", std::u16string(name.begin(), name.end()), [&] {
            auto& attributes = certificates_[certificate].certificate.attributes;
            const std::u16string& found = At(attributes, identifier, SystemError::NotFound);
            Require(!found.empty(), SystemError::NotFound);
            Require(found.find(u'\0') == std::u16string::npos, SystemError::InvalidData);
            value = found.substr(0, 259);
        });
    }
    SystemError SubjectText(CertificateHandle certificate, std::u16string& text) override {
        return Call("SubjectText", [&] { text = certificates_[certificate].certificate.subjectText; });
    }

    // A certificate that is open without a signature; freed like any other.
    [[nodiscard]] CertificateHandle OpenCertificate(FakeCertificate certificate) {
        return certificates_.Add({std::move(certificate), {}});
    }

    std::uint32_t signerInfoSize = 128;
    std::vector<std::u16string> opened;  // every path asked of Open, in order

private:
    static constexpr SystemError kNoSignatureObject{0x80092009};
    static constexpr SystemError kNoCertificate{0x80092004};

    struct SignatureState {
        FakeCertificate certificate;
        const std::byte* filled = nullptr;
    };
    struct CertificateState {
        FakeCertificate certificate;
        SignatureHandle signature{};
    };

    Disk& disk_;
    HandleTable<SignatureHandle, SignatureState> signatures_{core_, "signature", SystemError::InvalidParameter};
    HandleTable<CertificateHandle, CertificateState> certificates_{core_, "certificate", SystemError::InvalidParameter};
};

// A file has the answer that it was signed with; a catalog's member the one that it was listed with, while it is what
// it was then. Any thread. A fault's error is the answer.
class FakeTrustProvider final : public TrustProvider, FakePart {
public:
    FakeTrustProvider(Disk& disk, FakeSystem& system) : FakePart(disk.Core()), disk_(disk), system_(system) {}

    TrustAnswer VerifyFile(const std::u16string& path, FileHandle file, TrustAction action,
                           RevocationCheck revocation) override {
        return Answer("VerifyFile", {path, action, revocation, {}, {}, {}, {}},
                      [&] { return disk_.open[file].node->answer; });
    }
    TrustAnswer VerifyCatalogMember(const CatalogMember& member, TrustAction action,
                                    RevocationCheck revocation) override {
        const Bytes hash(member.hash.begin(), member.hash.end());
        return Answer(
            "VerifyCatalogMember",
            {member.memberPath, action, revocation, member.catalogPath, member.memberTag, hash, member.context}, [&] {
                const bool isUnchanged = MadeUpHash(disk_.open[member.memberFile].node->bytes, hash.size()) == hash;
                const auto listing = std::ranges::find_if(disk_.listings, [&](const Listing& known) {
                    return known.hash == hash && PlainPath(known.catalog) == PlainPath(member.catalogPath);
                });
                const bool isListed = listing != disk_.listings.end() && disk_.Exists(member.catalogPath);
                return !isListed ? kAnswerNoSignature : isUnchanged ? listing->answer : kAnswerBadDigest;
            });
    }
    [[nodiscard]] std::uint32_t PolicyFlags() override { return policyFlags; }

    struct Asked {
        std::u16string path;  // the file, or the catalog's member
        TrustAction action;
        RevocationCheck revocation;
        // For catalog members only.
        std::u16string catalogPath;
        std::u16string memberTag;
        Bytes hash;
        CatalogContextHandle context{};
    };
    std::vector<Asked> calls;  // in order
    std::uint32_t policyFlags = 0;
    std::uint32_t milliseconds = 0;            // how long a call takes on the system's clock
    std::function<void(const Asked&)> onCall;  // runs inside every call, on the caller's thread

private:
    TrustAnswer Answer(const char* operation, const Asked& asked, const std::function<TrustAnswer()>& verify) {
        system_.ticks += milliseconds;
        if (onCall) {
            onCall(asked);
        }
        Keep(calls, asked);
        TrustAnswer answer = 0;
        const SystemError fault = Call(operation, asked.path, [&] { answer = verify(); });
        return Failed(fault) ? static_cast<TrustAnswer>(Number(fault)) : answer;
    }

    Disk& disk_;
    FakeSystem& system_;
};

}  // namespace tests
