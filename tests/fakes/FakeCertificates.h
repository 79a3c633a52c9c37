// What the certificates of FakeSignatureObjects say.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "tests/fakes/FakeSignatureObjects.h"

namespace tests {

class FakeCertificates final : public tsLib::platform::Certificates, public CanFail {
public:
    using SystemError = tsLib::platform::SystemError;
    using Certificate = tsLib::platform::CertificateHandle;

    explicit FakeCertificates(FakeSignatureObjects& objects) : objects_(objects) {}

    SystemError EnhancedKeyUsages(Certificate certificate, std::vector<std::string>& usages) override {
        const FakeCertificate* found = nullptr;
        if (const SystemError error = Find(certificate, usagesError, found); Failed(error)) {
            return error;
        }
        std::vector<std::string> copy = found->usages;
        usages = std::move(copy);
        return SystemError::Success;
    }
    SystemError SubjectAttribute(Certificate certificate, const char* identifier, std::u16string& value) override {
        const FakeCertificate* found = nullptr;
        attributesAsked.emplace_back(identifier);
        const auto scripted = attributeErrors.find(identifier);
        const SystemError wanted = scripted == attributeErrors.end() ? SystemError::Success : scripted->second;
        if (const SystemError error = Find(certificate, wanted, found); Failed(error)) {
            return error;
        }
        const auto attribute = found->attributes.find(identifier);
        if (attribute == found->attributes.end() || attribute->second.empty()) {
            return SystemError::NotFound;
        }
        if (attribute->second.find(u'\0') != std::u16string::npos) {
            return SystemError::InvalidData;
        }
        value = attribute->second.substr(0, 259);
        return SystemError::Success;
    }
    SystemError SubjectText(Certificate certificate, std::u16string& text) override {
        const FakeCertificate* found = nullptr;
        if (const SystemError error = Find(certificate, subjectTextError, found); Failed(error)) {
            return error;
        }
        std::u16string copy = found->subjectText;
        text = std::move(copy);
        return SystemError::Success;
    }

    SystemError usagesError = SystemError::Success;
    SystemError subjectTextError = SystemError::Success;
    std::map<std::string, SystemError> attributeErrors;  // by dotted identifier
    std::vector<std::string> attributesAsked;            // in order

private:
    SystemError Find(Certificate certificate, SystemError scripted, const FakeCertificate*& found) {
        found = objects_.Find(certificate);
        if (found == nullptr) {
            return SystemError::InvalidParameter;
        }
        const SystemError fault = Fault();
        return Failed(fault) ? fault : scripted;
    }

    FakeSignatureObjects& objects_;
};

}  // namespace tests
