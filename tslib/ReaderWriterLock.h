// A reader/writer lock that leaves nothing behind.
#pragma once

#include <pthread.h>

#include <shared_mutex>

namespace tsLib {

// The standard one never ends the system's lock where that can be initialised statically, so that a module that is
// loaded and unloaded again and again would leave its semaphores behind each time.
class ReaderWriterLock : public std::shared_mutex {
public:
    ReaderWriterLock() = default;
    // Nobody may hold or wait for the lock any more.
    ~ReaderWriterLock() { pthread_rwlock_destroy(static_cast<pthread_rwlock_t*>(native_handle())); }
};

}  // namespace tsLib
