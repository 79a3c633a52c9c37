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
    tsLib::VaneResult CreateInstance(const tsLib::ObjectId& objectId, const tsLib::InterfaceId& interfaceId,
                                     void** object) noexcept override {
        *object = nullptr;
        if (objectId != tsLib::OBJID_QrtControl || interfaceId != tsLib::kIProtectionControlId) {
            return tsLib::VaneResult::NoInterface;
        }
        if (!yieldsNothing) {
            *object = static_cast<tsLib::IProtectionControl*>(new (std::nothrow) Control(*this));
        }
        return *object == nullptr && !yieldsNothing ? tsLib::VaneResult::OutOfMemory : tsLib::VaneResult::Success;
    }

    bool yieldsNothing = false;  // and calls that a success
    tsLib::HResult disableAnswer = tsLib::HResult::Ok;
    tsLib::HResult enableAnswer = tsLib::HResult::Ok;
    int suspended = 0;  // now
    int suspensions = 0;
    int resumes = 0;
    int alive = 0;

    struct Control final : tsLib::IVaneBaseImpl<tsLib::CVaneThreadSafeRefCount, tsLib::IProtectionControl,
                                                tsLib::kIProtectionControlId> {
        explicit Control(FakeProtection& theOwner) : owner(theOwner) { ++owner.alive; }
        ~Control() override { --owner.alive; }
        tsLib::HResult EnableProtection() noexcept override { return Answer(owner.resumes, owner.enableAnswer, -1); }
        tsLib::HResult DisableProtection() noexcept override {
            return Answer(owner.suspensions, owner.disableAnswer, 1);
        }
        tsLib::HResult Answer(int& asked, tsLib::HResult answer, int change) const {
            ++asked;
            owner.suspended += Succeeded(answer) ? change : 0;
            return answer;
        }

        FakeProtection& owner;
    };
};

}  // namespace tests
