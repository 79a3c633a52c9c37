#include "tests/fakes/FakePlatform.h"

namespace tests {

// Here, so that the fakes' code is made once.
FakePlatform::FakePlatform() {
    for (const auto& [handle, path] : modules.paths) {
        disk.PutModule(path);
    }
}

}  // namespace tests
