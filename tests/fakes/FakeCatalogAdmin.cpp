#include "tests/fakes/FakeCatalogAdmin.h"

#include <algorithm>

namespace tests {

using namespace tsLib::platform;

bool FakeCatalogAdmin::ByBytes::operator()(const Hash& left, const Hash& right) const noexcept {
    return std::lexicographical_compare(left.begin(), left.end(), right.begin(), right.end());
}

SystemError FakeCatalogAdmin::Acquire(bool sha256, SystemError error, Context& context) {
    if (const SystemError fault = Fault(); Failed(fault)) {
        return fault;
    }
    if (Failed(error)) {
        return error;
    }
    context = contexts_.Add({sha256});
    ++acquired;
    return SystemError::Success;
}

SystemError FakeCatalogAdmin::AcquireContext(Context& context) {
    const std::lock_guard lock(mutex_);
    return Acquire(false, acquireError, context);
}

SystemError FakeCatalogAdmin::AcquireSha256Context(Context& context) {
    const std::lock_guard lock(mutex_);
    return Acquire(true, hasSha256 ? acquireSha256Error : SystemError::ProcedureNotFound, context);
}

void FakeCatalogAdmin::ReleaseContext(Context context) noexcept {
    const std::lock_guard lock(mutex_);
    const auto& open = catalogs_.All();
    if (std::any_of(open.begin(), open.end(),
                    [context](const auto& catalog) { return catalog.second.context == context; })) {
        ++misuses_;
    }
    contexts_.Remove(context);
}

const std::vector<std::u16string>* FakeCatalogAdmin::Holding(Context context, const Hash& hash) {
    const ContextState* state = contexts_.Find(context);
    if (state == nullptr) {
        return nullptr;
    }
    const Catalogs& catalogs = state->sha256 ? sha256Catalogs : sha1Catalogs;
    const auto found = catalogs.find(hash);
    return found == catalogs.end() ? nullptr : &found->second;
}

SystemError FakeCatalogAdmin::NextCatalog(Context context, std::span<const std::byte> hash, Catalog previous,
                                          Catalog& next) {
    const std::lock_guard lock(mutex_);
    std::size_t index = 0;
    if (previous != Catalog{}) {
        if (const CatalogState* state = catalogs_.Find(previous); state != nullptr) {
            misuses_ += state->context == context && std::ranges::equal(state->hash, hash) ? 0U : 1U;
            index = state->index + 1;
            catalogs_.Remove(previous);
        }
    }
    if (const SystemError fault = Fault(); Failed(fault)) {
        return fault;
    }
    Hash key(hash.begin(), hash.end());
    const auto* holding = Holding(context, key);
    if (holding == nullptr || index >= holding->size()) {
        return endError;
    }
    next = catalogs_.Add({context, std::move(key), index});
    ++enumerated;
    return SystemError::Success;
}

SystemError FakeCatalogAdmin::CatalogPath(Catalog catalog, std::u16string& path) {
    const std::lock_guard lock(mutex_);
    const CatalogState* state = catalogs_.Find(catalog);
    if (state == nullptr) {
        return SystemError::InvalidParameter;
    }
    if (const SystemError fault = Fault(); Failed(fault)) {
        return fault;
    }
    const auto* holding = Holding(state->context, state->hash);
    if (holding == nullptr) {
        return SystemError::InvalidParameter;
    }
    const std::u16string& found = (*holding)[state->index];
    if (const auto error = pathErrors.find(found); error != pathErrors.end()) {
        return error->second;
    }
    path = found;
    return SystemError::Success;
}

void FakeCatalogAdmin::ReleaseCatalog(Context context, Catalog catalog) noexcept {
    const std::lock_guard lock(mutex_);
    const CatalogState* state = catalogs_.Find(catalog);
    if (state == nullptr) {
        return;
    }
    misuses_ += state->context == context ? 0U : 1U;
    catalogs_.Remove(catalog);
}

bool FakeCatalogAdmin::IsSha256(Context context) const {
    const std::lock_guard lock(mutex_);
    const auto found = contexts_.All().find(context);
    return found != contexts_.All().end() && found->second.sha256;
}

bool FakeCatalogAdmin::IsOpen(Context context) const {
    const std::lock_guard lock(mutex_);
    return contexts_.All().contains(context);
}

std::size_t FakeCatalogAdmin::OpenHandles() const {
    const std::lock_guard lock(mutex_);
    return contexts_.Size() + catalogs_.Size();
}

std::size_t FakeCatalogAdmin::Misuses() const {
    const std::lock_guard lock(mutex_);
    return misuses_ + contexts_.misuses + catalogs_.misuses;
}

}  // namespace tests
