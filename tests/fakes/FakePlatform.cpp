#include "tests/fakes/FakePlatform.h"

namespace tests {

// Both here, so that the fakes' code is made once.
FakePlatform::FakePlatform() {
    for (const auto& [handle, path] : modules.paths) {
        disk.PutModule(path);
    }
}

FakePlatform::~FakePlatform() = default;

}  // namespace tests
