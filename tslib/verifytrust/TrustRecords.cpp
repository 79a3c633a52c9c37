#include "tslib/verifytrust/TrustRecords.h"

#include <algorithm>
#include <string_view>

#include "tslib/IVerifyTrust.h"

namespace tsLib {

using platform::FileState;
using platform::HeldFile;
using platform::SystemError;

namespace {

// On a share the times are those of another clock, and changes by others may show late. A stream beside a file's
// content has the identity of the file.
bool IsOnShareOrStream(std::u16string_view name) noexcept {
    constexpr std::u16string_view kShares[] = {u"\\\\?\\UNC\\", u"\\\\"};
    const bool isLiteral = name.starts_with(u"\\\\?\\");
    const std::size_t drive = isLiteral ? 4 : 0;
    return name.starts_with(kShares[0]) || (!isLiteral && name.starts_with(kShares[1])) ||
           name.find(u':', std::min(name.size(), drive + 2)) != std::u16string_view::npos;
}

}  // namespace

// A record and its result are the word itself.
class TrustRecords::Record final : public HashRecord, public HashResult {
public:
    explicit Record(std::uint32_t word) noexcept : word_(word) {}
    SystemError OpenResult(HashResultMode /*mode*/, std::unique_ptr<HashResult>& result) override {
        result = std::make_unique<Record>(word_);
        return SystemError::Success;
    }
    SystemError ReadNumber(std::u16string_view name, std::uint32_t& value) override {
        if (name != kVerifyTrustResultValue) {
            return SystemError::NotFound;
        }
        value = word_;
        return SystemError::Success;
    }

private:
    std::uint32_t word_;
};

class TrustRecords::Provider final : public HashProvider {
public:
    explicit Provider(TrustRecords& records) noexcept : records_(records) {}
    SystemError OpenRecord(const HeldFile& file, CheckKind kind, std::u16string_view /*client*/,
                           std::unique_ptr<HashRecord>& record) override {
        const auto word = records_.Find(file, kind);
        if (!word) {
            return SystemError::NotFound;
        }
        record = std::make_unique<Record>(*word);
        return SystemError::Success;
    }
    void Keep(const HeldFile& file, CheckKind kind, std::uint32_t findings) override {
        records_.Keep(file, kind, findings);
    }

private:
    TrustRecords& records_;
};

std::unique_ptr<HashProvider> TrustRecords::Create() { return std::make_unique<Provider>(*this); }

std::size_t TrustRecords::Count() const {
    const std::lock_guard lock(lock_);
    return entries_.size();
}

bool TrustRecords::ReadState(const HeldFile& file, FileState& state) const {
    return !IsOnShareOrStream(file.Name()) && Succeeded(files_.State(file.Handle(), state)) && state.lastWrite != 0 &&
           state.change != 0;
}

std::optional<std::uint32_t> TrustRecords::Find(const HeldFile& file, CheckKind kind) const {
    FileState state;
    if (!ReadState(file, state)) {
        return kDoNotRelyOnCached;
    }
    const std::lock_guard lock(lock_);
    const auto found =
        std::ranges::find_if(entries_, [&](const Entry& entry) { return entry.state == state && entry.kind == kind; });
    if (found == entries_.end()) {
        return std::nullopt;
    }
    return found->findings | (found->isTooYoung ? kDoNotRelyOnCached : 0u);
}

void TrustRecords::Keep(const HeldFile& file, CheckKind kind, std::uint32_t findings) {
    FileState state;
    std::uint64_t now = 0;
    if (!ReadState(file, state) || Failed(system_.FileTimeNow(now))) {
        return;
    }
    // Also where the clock is behind the file's times: it was set back, or is not the one that made them.
    const std::uint64_t changed = std::max(state.lastWrite, state.change);
    const bool isTooYoung = now < changed || now - changed <= kTimeStep;
    const std::lock_guard lock(lock_);
    std::erase_if(entries_, [&](const Entry& entry) {  // at most one is there, of an earlier state
        return entry.state.identity == state.identity && entry.kind == kind;
    });
    if (entries_.size() == kMaximum) {
        entries_.erase(entries_.begin());
    }
    entries_.push_back({state, kind, findings, isTooYoung});
}

}  // namespace tsLib
