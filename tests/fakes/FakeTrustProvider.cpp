#include "tests/fakes/FakeTrustProvider.h"

#include "tests/fakes/SimpleLower.h"

namespace tests {

using namespace tsLib::platform;

namespace {

// No path holds the character that stands between the two.
std::u16string MemberKey(const std::u16string& catalogPath, const std::u16string& memberPath) {
    return SimpleLower(catalogPath) + u'|' + SimpleLower(memberPath);
}

}  // namespace

TrustAnswer FakeTrustProvider::Record(Call call, const std::u16string& key, Answer other) {
    if (clock != nullptr) {
        clock->Advance(milliseconds);
    }
    if (onCall) {
        onCall(call);
    }
    const std::lock_guard lock(mutex_);
    calls.push_back(std::move(call));
    if (const SystemError fault = Fault(); Failed(fault)) {
        return static_cast<Answer>(Number(fault));
    }
    const auto found = answers_.find(key);
    return found == answers_.end() ? other : found->second;
}

TrustAnswer FakeTrustProvider::VerifyFile(const std::u16string& path, TrustAction action, RevocationCheck revocation) {
    return Record({path, action, revocation, {}, {}, {}, {}}, SimpleLower(path), otherFiles);
}

TrustAnswer FakeTrustProvider::VerifyCatalogMember(const CatalogMember& member, TrustAction action,
                                                   RevocationCheck revocation) {
    return Record({member.memberPath,
                   action,
                   revocation,
                   member.catalogPath,
                   member.memberTag,
                   {member.hash.begin(), member.hash.end()},
                   member.context},
                  MemberKey(member.catalogPath, member.memberPath), otherMembers);
}

void FakeTrustProvider::SetFileAnswer(const std::u16string& path, Answer answer) {
    const std::lock_guard lock(mutex_);
    answers_[SimpleLower(path)] = answer;
}

void FakeTrustProvider::SetMemberAnswer(const std::u16string& catalogPath, const std::u16string& memberPath,
                                        Answer answer) {
    const std::lock_guard lock(mutex_);
    answers_[MemberKey(catalogPath, memberPath)] = answer;
}

}  // namespace tests
