// The protection control component, counting.
#pragma once

#include <new>

#include "tslib/IComponentSource.h"
#include "tslib/IProtectionControl.h"
#include "tslib/IVaneBaseImpl.h"

namespace tests {

// Makes the component; what its objects are asked is kept here. One thread.
class FakeProtection final : public tsLib::IComponentSource {
public:
    class Control final : public tsLib::IVaneBaseImpl<tsLib::CVaneThreadSafeRefCount, tsLib::IProtectionControl,
                                                      tsLib::kIProtectionControlId> {
    public:
        explicit Control(FakeProtection& protection) : protection_(protection) { ++protection_.alive; }
        ~Control() override { --protection_.alive; }
        tsLib::HResult EnableProtection() noexcept override {
            ++protection_.resumes;
            protection_.suspended -= Succeeded(protection_.enableAnswer) ? 1 : 0;
            return protection_.enableAnswer;
        }
        tsLib::HResult DisableProtection() noexcept override {
            ++protection_.suspensions;
            protection_.suspended += Succeeded(protection_.disableAnswer) ? 1 : 0;
            return protection_.disableAnswer;
        }

    private:
        FakeProtection& protection_;
    };

    tsLib::VaneResult CreateInstance(const tsLib::ObjectId& objectId, const tsLib::InterfaceId& interfaceId,
                                     void** object) noexcept override {
        *object = nullptr;
        if (objectId != tsLib::OBJID_QrtControl || interfaceId != tsLib::kIProtectionControlId) {
            return tsLib::VaneResult::NoInterface;
        }
        if (Failed(createAnswer) || yieldsNothing) {
            return createAnswer;
        }
        auto* const control = new (std::nothrow) Control(*this);
        *object = static_cast<tsLib::IProtectionControl*>(control);
        return control == nullptr ? tsLib::VaneResult::OutOfMemory : tsLib::VaneResult::Success;
    }

    tsLib::VaneResult createAnswer = tsLib::VaneResult::Success;
    bool yieldsNothing = false;
    tsLib::HResult disableAnswer = tsLib::HResult::Ok;
    tsLib::HResult enableAnswer = tsLib::HResult::Ok;
    int suspended = 0;  // now
    int suspensions = 0;
    int resumes = 0;
    int alive = 0;
};

}  // namespace tests
