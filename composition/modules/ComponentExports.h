// The two exports of a component module, over what its objects share.
#pragma once

#include <windows.h>

#include <atomic>
#include <memory>

#include "composition/modules/RuntimeExceptions.h"
#include "tslib/ComponentModule.h"
#include "tslib/VaneResult.h"

namespace HVR {

// What a module's objects share, made by the first use and not by the module's start-up code: that runs under the
// loader lock, where nothing may be loaded, waited for or asked of another module. `State` has a member `module`, a
// tsLib::ComponentModule; making one must do nothing that cannot be done twice, since two threads may both make one and
// keep the first.
template <class State>
class OnFirstUse {
public:
    // Throws what State's constructor throws; a later call tries again.
    [[nodiscard]] State& Get() {
        State* made = state_.load(std::memory_order_acquire);
        if (made == nullptr) {
            auto mine = std::make_unique<State>();
            if (state_.compare_exchange_strong(made, mine.get(), std::memory_order_acq_rel)) {
                made = mine.release();
            }
        }
        return *made;
    }
    [[nodiscard]] State* IfMade() const noexcept { return state_.load(std::memory_order_acquire); }
    void Free() noexcept { delete state_.exchange(nullptr); }

private:
    std::atomic<State*> state_{nullptr};
};

}  // namespace HVR

// Defines the module's entry points over a State, once in a module. A host loads and unloads a module as often as it
// likes: what the module took is given back. That only frees memory, which is allowed under the loader lock; at the end
// of the process the system takes it all, and the heap may be in any state.
#define HALVORA_COMPONENT_MODULE(State)                                                                     \
    namespace {                                                                                             \
    constinit HVR::OnFirstUse<State> component;                                                             \
    }                                                                                                       \
    BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID processEnds) {                                      \
        if (reason == DLL_THREAD_DETACH) {                                                                  \
            HVR::ForgetThreadsExceptions();                                                                 \
        } else if (reason == DLL_PROCESS_DETACH && processEnds == nullptr) {                                \
            component.Free();                                                                               \
        }                                                                                                   \
        return TRUE;                                                                                        \
    }                                                                                                       \
    extern "C" tsLib::VaneResult GetFactory(const tsLib::ObjectId& objectId, tsLib::IFactory** factory) {   \
        return tsLib::AtVaneBoundary([&] { return component.Get().module.GetFactory(objectId, factory); }); \
    }                                                                                                       \
    extern "C" std::uint32_t GetObjectCount() {                                                             \
        State* const state = component.IfMade();                                                            \
        return state != nullptr ? state->module.GetObjectCount() : 0;                                       \
    }
