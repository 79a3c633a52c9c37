#include "tools/platformkit/TestRoot_win32.h"

#include <wincrypt.h>

#include <cwchar>

namespace HVR::platformkit {

namespace {

class RootStore {
public:
    RootStore(bool isMachines, const std::string& certificate)
        : isMachines_(isMachines),
          store_(CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0,
                               isMachines ? CERT_SYSTEM_STORE_LOCAL_MACHINE : CERT_SYSTEM_STORE_CURRENT_USER, L"Root")),
          certificate_(CertCreateCertificateContext(X509_ASN_ENCODING,
                                                    reinterpret_cast<const BYTE*>(certificate.data()),
                                                    static_cast<DWORD>(certificate.size()))) {}
    RootStore(const RootStore&) = delete;
    RootStore& operator=(const RootStore&) = delete;
    ~RootStore() {
        CertFreeCertificateContext(certificate_);
        if (store_ != nullptr) {
            CertCloseStore(store_, 0);
        }
    }
    [[nodiscard]] bool IsUsable() const { return store_ != nullptr && certificate_ != nullptr; }
    // Null when it is not there; released by whoever has it.
    [[nodiscard]] PCCERT_CONTEXT Find() const {
        return CertFindCertificateInStore(store_, X509_ASN_ENCODING, 0, CERT_FIND_EXISTING, certificate_, nullptr);
    }
    [[nodiscard]] bool Holds() const {
        const PCCERT_CONTEXT found = Find();
        CertFreeCertificateContext(found);
        return found != nullptr;
    }
    // Wine forgets it for this process alone otherwise.
    void RemoveFromRegistry() const {
        BYTE hash[20] = {};
        DWORD size = sizeof(hash);
        if (CertGetCertificateContextProperty(certificate_, CERT_HASH_PROP_ID, hash, &size)) {
            std::wstring key = L"Software\\Microsoft\\SystemCertificates\\Root\\Certificates\\";
            for (const BYTE byte : hash) {
                wchar_t digits[3] = {};
                std::swprintf(digits, std::size(digits), L"%02X", byte);
                key += digits;
            }
            RegDeleteTreeW(isMachines_ ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER, key.c_str());
        }
    }
    [[nodiscard]] bool Add() const {
        return CertAddCertificateContextToStore(store_, certificate_, CERT_STORE_ADD_NEW, nullptr) != FALSE;
    }

private:
    bool isMachines_;
    HCERTSTORE store_;
    PCCERT_CONTEXT certificate_;
};

}  // namespace

TestRoot::Added TestRoot::Add() const {
    const RootStore store(isMachines_, certificate_);
    if (store.IsUsable() && store.Holds()) {
        return Added::WasThere;
    }
    return store.IsUsable() && store.Add() ? Added::Yes : Added::No;
}

bool TestRoot::Remove() const {
    {
        const RootStore store(isMachines_, certificate_);
        if (const PCCERT_CONTEXT found = store.IsUsable() ? store.Find() : nullptr; found != nullptr) {
            CertDeleteCertificateFromStore(found);
        }
    }
    const RootStore store(isMachines_, certificate_);
    if (store.IsUsable() && store.Holds()) {
        store.RemoveFromRegistry();
        const RootStore again(isMachines_, certificate_);
        return again.IsUsable() && !again.Holds();
    }
    return store.IsUsable() && !store.Holds();
}

}  // namespace HVR::platformkit
