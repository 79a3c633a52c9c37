// A whole scan request over fakes.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "shellext/ScanRequest.h"
#include "tests/fakes/FakeClock.h"
#include "tests/fakes/FakeComponentMemory.h"
#include "tests/fakes/FakeDropList.h"
#include "tests/fakes/FakeFiles.h"
#include "tests/fakes/FakeKnownFolders.h"
#include "tests/fakes/FakePathForms.h"
#include "tests/fakes/FakeProcessStarter.h"
#include "tests/fakes/FakeRegistry.h"
#include "tests/fakes/FakeTextOutput.h"
#include "tests/fakes/FakeTrace.h"
#include "tests/fakes/FakeTrustVerifier.h"
#include "tslib/IVaneBaseImpl.h"

namespace tests {

inline constexpr char16_t kTestScanner[] = u"C:\\Program Files\\Halvora\\ScanAgent.exe";
inline constexpr char16_t kTestList[] = u"C:\\Temp\\ScanList742";

// Makes resolvers that all give the same answer.
class FakeResolverFactory final : public HVR::ProductInstallPathResolverFactory {
public:
    explicit FakeResolverFactory(FakeComponentMemory& memory) noexcept : memory_(memory) {}

    tsLib::HResult Create(HVR::IProductInstallPathResolver*& resolver) noexcept override {
        if (Failed(creation)) {
            return creation;
        }
        resolver = givesNone ? nullptr : new (std::nothrow) Resolver(*this);
        return resolver != nullptr || givesNone ? tsLib::HResult::Ok : tsLib::HResult::OutOfMemory;
    }

    tsLib::HResult creation = tsLib::HResult::Ok;
    bool givesNone = false;
    tsLib::HResult answer = tsLib::HResult::Ok;
    bool givesNoText = false;
    std::size_t made = 0;
    std::size_t alive = 0;
    std::size_t wrongQuestions = 0;

private:
    class Resolver final : public tsLib::IVaneBaseImpl<tsLib::CVaneThreadSafeRefCount, HVR::IProductInstallPathResolver,
                                                       HVR::kIProductInstallPathResolverId> {
    public:
        explicit Resolver(FakeResolverFactory& script) noexcept : script_(script) {
            ++script_.made;
            ++script_.alive;
        }
        ~Resolver() override { --script_.alive; }
        tsLib::HResult GetPath(std::uint32_t, const char*, char16_t**, std::uint32_t) noexcept override {
            ++script_.wrongQuestions;
            return tsLib::HResult::Unexpected;
        }
        tsLib::HResult GetPath(std::uint32_t kind, const char16_t* fileName, char16_t** path,
                               std::uint32_t flags) noexcept override {
            const std::u16string_view name(fileName);
            script_.wrongQuestions += kind == 0 && name == u"ScanAgent.exe" && flags == 0 ? 0U : 1U;
            if (Failed(script_.answer) || script_.givesNoText) {
                return script_.answer;
            }
            auto* const text = static_cast<char16_t*>(script_.memory_.Allocate(sizeof kTestScanner));
            if (text == nullptr) {
                return tsLib::HResult::OutOfMemory;
            }
            std::copy(std::begin(kTestScanner), std::end(kTestScanner), text);
            *path = text;
            return tsLib::HResult::Ok;
        }

    private:
        FakeResolverFactory& script_;
    };

    FakeComponentMemory& memory_;
};

struct ScanWorld {
    FakeFiles files;
    FakeKnownFolders folders;
    FakeClock clock;
    FakeTextOutput output{files};
    FakeRegistry registry;
    FakePathForms paths;
    FakeProcessStarter starter;
    FakeTrustVerifierFactory verifiers;
    FakeComponentMemory memory;
    FakeResolverFactory resolvers{memory};
    FakeTrace trace;
    FakeDropList drops{{u"C:\\sel\\a.txt"}};
    HVR::ScannerLocation location{resolvers, memory, registry, tsLib::Tracer(trace)};
    HVR::VerifiedProcessStart start{files, paths, starter, verifiers, tsLib::Tracer(trace)};
    HVR::ScanRequest request{{folders, clock, output, starter, location, start, tsLib::Tracer(trace)}};

    ScanWorld() {
        files.PutFolder(u"C:\\Temp");
        files.PutFile(kTestScanner, "MZ");
    }

    void Share(FaultPlan& plan) {
        for (auto** place : {&files.faults, &folders.faults, &clock.faults, &output.faults, &registry.faults,
                             &paths.faults, &starter.faults, &memory.faults, &drops.faults}) {
            *place = &plan;
        }
    }
    void PutFallback(std::u16string_view folder) {
        registry.PutText(tsLib::platform::RegistryRoot::LocalMachine, u"Software\\Corvane\\InstalledApps", u"NimEdge",
                         folder);
    }
    // Everything open, alive or misused; 0 after any request.
    [[nodiscard]] std::size_t Leftovers() const {
        return files.OpenHandles() + files.Misuses() + registry.OpenHandles() + registry.Misuses() +
               starter.OpenHandles() + starter.Misuses() + memory.OpenHandles() + memory.Misuses() + verifiers.alive +
               verifiers.unprepared + resolvers.alive + resolvers.wrongQuestions + drops.misuses +
               (output.IsOpen() ? 1U : 0U);
    }
    // The levels of all trace records, in order, information and verbose left out.
    [[nodiscard]] std::vector<tsLib::TraceEvent> Complaints() const {
        std::vector<tsLib::TraceEvent> events;
        for (const auto& record : trace.records) {
            if (record.level <= tsLib::platform::TraceLevel::Warning) {
                events.push_back(record.event);
            }
        }
        return events;
    }
};

}  // namespace tests
