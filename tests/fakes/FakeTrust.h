// Catalogs, signatures and the trust provider over the disk.
#pragma once

#include "tests/fakes/Disk.h"
#include "tests/fakes/FakeDesktop.h"
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
    void ReleaseContext(CatalogContextHandle context) noexcept override;
    SystemError NextCatalog(CatalogContextHandle context, std::span<const std::byte> hash, CatalogHandle previous,
                            CatalogHandle& next) override;
    SystemError CatalogPath(CatalogHandle catalog, std::u16string& path) override;
    void ReleaseCatalog(CatalogContextHandle context, CatalogHandle catalog) noexcept override {
        const auto lock = Lock();
        const auto found = catalogs_.All().find(catalog);
        catalogs_.CountMisuse(found != catalogs_.All().end() && found->second.context != context);
        catalogs_.Remove(catalog);
    }
    [[nodiscard]] bool HasSha256Hash() const noexcept override { return hasSha256Hash; }
    SystemError Hash(FileHandle file, std::span<std::byte> buffer, std::uint32_t& size) override {
        return HashFile(20, file, buffer, size);
    }
    SystemError Sha256Hash(CatalogContextHandle context, FileHandle file, std::span<std::byte> buffer,
                           std::uint32_t& size) override;

    [[nodiscard]] bool IsSha256(CatalogContextHandle context) const {
        const auto lock = Lock();
        const auto found = contexts_.All().find(context);
        return found != contexts_.All().end() && found->second;
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
        Bytes hash;
        std::size_t index;  // in the disk's listings
    };

    SystemError Acquire(bool sha256, CatalogContextHandle& context) {
        return Call(sha256 ? "AcquireSha256Context" : "AcquireContext", [&] {
            Require(!sha256 || hasSha256Context, SystemError::ProcedureNotFound);
            context = contexts_.Add(sha256);
            ++acquired;
        });
    }
    SystemError HashFile(std::size_t length, FileHandle file, std::span<std::byte> buffer, std::uint32_t& size);

    Disk& disk_;
    HandleTable<CatalogContextHandle, bool> contexts_{core_, "catalog context", SystemError::InvalidParameter};
    HandleTable<CatalogHandle, CatalogState> catalogs_{core_, "catalog", SystemError::InvalidParameter};
};

inline constexpr auto kNoSignatureObject = static_cast<SystemError>(0x80092009);
inline constexpr auto kNoCertificate = static_cast<SystemError>(0x80092004);

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
    SystemError SignerInfo(SignatureHandle signature, std::span<std::byte> buffer) override;
    SystemError FindSignerCertificate(SignatureHandle signature, std::span<const std::byte> signerInfo,
                                      CertificateHandle& certificate) override;
    void FreeCertificate(CertificateHandle certificate) noexcept override { certificates_.Remove(certificate); }
    void Close(SignatureHandle signature) noexcept override;
    SystemError EnhancedKeyUsages(CertificateHandle certificate, std::vector<std::string>& usages) override {
        return Call("EnhancedKeyUsages", [&] { usages = certificates_[certificate].certificate.usages; });
    }
    SystemError SubjectAttribute(CertificateHandle certificate, const char* identifier, std::u16string& value) override;
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

    TrustAnswer VerifyFile(const std::u16string& path, TrustAction action, RevocationCheck revocation) override {
        return Answer("VerifyFile", {path, action, revocation, {}, {}, {}, {}},
                      [&] { return disk_.Existing(path)->answer; });
    }
    TrustAnswer VerifyCatalogMember(const CatalogMember& member, TrustAction action,
                                    RevocationCheck revocation) override;
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
    TrustAnswer Answer(const char* operation, const Asked& asked, const std::function<TrustAnswer()>& verify);

    Disk& disk_;
    FakeSystem& system_;
};

}  // namespace tests
