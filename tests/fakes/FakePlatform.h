// The whole platform in memory: one disk, one registry and one fault switch behind all interfaces.
#pragma once

#include "tests/fakes/Disk.h"
#include "tests/fakes/FakeDesktop.h"
#include "tests/fakes/FakeFiles.h"
#include "tests/fakes/FakeModules.h"
#include "tests/fakes/FakePathForms.h"
#include "tests/fakes/FakeRegistry.h"
#include "tests/fakes/FakeTrust.h"
#include "tslib/platform/Platform.h"

namespace tests {

// Members are called as in Platform. What is public in them is staged before and looked at after the work that is
// tested, while no other thread is in a call. The fault switch and what is left open are those of FakeCore.
struct FakePlatform : FakeCore {
    // The files of the running process are on the disk.
    FakePlatform();
    ~FakePlatform();
    [[nodiscard]] operator const Platform&() const noexcept { return interfaces; }

    Disk disk{*this};
    FakeRegistry registry{*this};
    FakeFiles files{disk};
    FakeModules modules{disk};
    FakeProcesses processes{disk};
    FakePathForms pathForms{disk};
    FakeTextRules textRules{*this};
    FakeDesktop desktop{*this};
    FakeSystem system{*this};
    FakeCatalogs catalogs{disk};
    FakeSignatures signatures{disk};
    FakeTrustProvider trustProvider{disk, system};
    FakeTrace trace{*this};

private:
    const Platform interfaces{registry, files,  modules,  processes,  pathForms,     textRules,
                              desktop,  system, catalogs, signatures, trustProvider, trace};
};

}  // namespace tests
