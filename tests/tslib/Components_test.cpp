// What components are made of: slots, counted objects, modules that offer them; and the numbers of their traces.
#include <bit>
#include <numeric>
#include <stdexcept>

#include "AgentCore/IProductInstallPathResolver.h"
#include "tests/tslib/ComponentWorld.h"
#include "tslib/IProtectionControl.h"

namespace tests {
namespace {

using enum VaneResult;

using IPathResolver = HVR::IProductInstallPathResolver;

// That the operations have these slots in their interface's table, by which other modules call them.
template <std::size_t first = 3, class... Operations>  // behind those of IVaneBase
void ExpectSlots(Operations... operations) {
    std::size_t slot = first;
    for (const std::size_t place : {std::bit_cast<std::array<std::size_t, 2>>(operations)[0]...}) {
        EXPECT_EQ(place / sizeof(void*), slot++);
    }
}
// One of several operations with a name.
template <class... Arguments>
constexpr auto Taking =
    []<class Interface, class Result>(Result (Interface::*operation)(Arguments...) noexcept) { return operation; };

TEST(Contracts, SlotsOfTheInterfaces) {
    ExpectSlots<0>(&IVaneBase::QueryInterface, &IVaneBase::AddRef, &IVaneBase::Release);
    ExpectSlots(&IFactory::CreateInstance);
    ExpectSlots(&ISettingsStore::OpenForEnumeration, &ISettingsStore::OpenForReading, &ISettingsStore::OpenForWriting,
                &ISettingsStore::DeleteKey);
    ExpectSlots(&ISettingsEnumeration::SubkeyCount, &ISettingsEnumeration::SubkeyName);
    ExpectSlots(&ISettingsKey::ReadText, &ISettingsKey::ReadNumber, &ISettingsKey::WriteText,
                &ISettingsKey::WriteNumber, &ISettingsKey::DeleteValue);
    ExpectSlots(&IProtectionControl::EnableProtection, &IProtectionControl::DisableProtection);
    ExpectSlots(Taking<std::uint32_t, const char*, char16_t**, std::uint32_t>(&IPathResolver::GetPath),
                Taking<std::uint32_t, const char16_t*, char16_t**, std::uint32_t>(&IPathResolver::GetPath));
    using I = IVerifyTrust;
    using W = const char16_t*;
    using N = const char*;
    ExpectSlots(
        &I::Initialize, &I::ResetSettings, Taking<W, TrustLevel>(&I::VerifyFile), Taking<N, TrustLevel>(&I::VerifyFile),
        &I::VerifyProcess, &I::VerifyCurrentProcess, &I::VerifyParentProcess, &I::VerifyModule, &I::VerifyFileThorough,
        &I::DescribeFile, &I::VerifyComServer, &I::SetAlternatePolicyOption, &I::GetAlternatePolicyOption,
        &I::SetProviderMode2, &I::GetProviderMode2, Taking<W, TrustLevel, bool, bool*>(&I::VerifyFile),
        Taking<N, TrustLevel, bool, bool*>(&I::VerifyFile), Taking<W, TrustLevel, bool>(&I::VerifyFile),
        Taking<N, TrustLevel, bool>(&I::VerifyFile), Taking<W, bool>(&I::VerifyFile), Taking<N, bool>(&I::VerifyFile));
}

// Of an event's number and of the name that the compiler knows for it; 0 when there is none.
template <TraceEvent event>
constexpr std::uint32_t Fingerprint() {
    const std::string_view name = __PRETTY_FUNCTION__;
    const std::size_t at = name.find("= tsLib::TraceEvent::");
    std::uint32_t hash = at == std::string_view::npos ? 0 : static_cast<std::uint32_t>(event);
    for (std::size_t i = at; i < name.size() && name[i] != ';' && name[i] != ']'; ++i) {
        hash = (hash ^ static_cast<unsigned char>(name[i])) * 16777619U;
    }
    return hash;
}

// A number never gets a second meaning. A new event changes this sum; anything else that does is a mistake.
TEST(Contracts, NumbersOfTheTraceEvents) {
    const auto sum = []<std::size_t... numbers>(std::index_sequence<numbers...>) {
        constexpr std::array kAll{Fingerprint<static_cast<TraceEvent>(numbers)>()...};
        return std::accumulate(kAll.begin(), kAll.end(), 0U);
    };
    EXPECT_EQ(sum(std::make_index_sequence<1200>()), 2189944913u);
}

TEST(VaneBase, Objects_AnswerToEachOfTheirInterfaces_AndAreCounted) {
    struct CThing : IVaneBaseImpl<CVaneThreadSafeRefCount, ISample, kISampleId, kSampleId> {};
    const VaneRef<ISample> thing(new CThing);
    for (const InterfaceId& id : {kIVaneBaseId, kISampleId, kSampleId}) {
        VaneRef<ISample> found;
        EXPECT_EQ(Query(*thing, id, found), Success);
        EXPECT_EQ(found.Get(), thing.Get());
    }
    EXPECT_EQ(thing->QueryInterface(kISampleId, nullptr), InvalidArgument);
    // A count neither wraps nor comes back from zero.
    constexpr std::uint32_t kMost = 0xFFFFFFFF;
    CVaneThreadSafeRefCount full(kMost - 1);
    EXPECT_EQ(full.Increase(), kMost);
    EXPECT_EQ(full.Increase(), kMost);
    EXPECT_EQ(full.Decrease().count, kMost);  // stuck: nobody knows any more how many references there are
    CVaneThreadSafeRefCount gone;
    EXPECT_TRUE(gone.Decrease().last);
    EXPECT_EQ(gone.Increase(), 0u);
    EXPECT_FALSE(gone.Decrease().last);
    EXPECT_EQ(gone.Decrease().count, 0u);
}

TEST(ComponentModule, WhatCannotBeMade_HasItsResult_AndIsNotCounted) {
    constexpr ObjectId kThrowingId{2, 0, 0, {}}, kNullId{3, 0, 0, {}}, kBadId{4, 0, 0, {}};
    ComponentModule module{{{kSampleId, &MakeCounted<CSample>},
                            {kThrowingId, [](ModuleObjectCount&) -> IVaneBase* { throw std::bad_alloc(); }},
                            {kNullId, [](ModuleObjectCount&) -> IVaneBase* { return nullptr; }},
                            {kBadId, [](ModuleObjectCount&) -> IVaneBase* { throw std::runtime_error("no"); }}}};
    const std::tuple<ObjectId, InterfaceId, VaneResult> rows[] = {
        {kSampleId, kIFactoryId, NoInterface},   {kThrowingId, kISampleId, OutOfMemory},
        {kNullId, kISampleId, OutOfMemory},      {kBadId, kISampleId, InternalFailure},
        {kOtherId, kISampleId, InvalidArgument},
    };
    for (const auto& [id, interfaceId, result] : rows) {
        EXPECT_EQ(Created(module, id, interfaceId), result);
        EXPECT_EQ(module.CreateInstance(id, interfaceId, nullptr), InvalidArgument);
        EXPECT_EQ(module.GetObjectCount(), 0u);
    }
    EXPECT_EQ(module.GetFactory(kSampleId, nullptr), InvalidArgument);
}

// What other people's modules may answer.
TEST(ComponentEntryPoints, AnswersOfForeignModules_AreNotTakenOnTrust) {
    const std::pair<GetFactoryFunction, VaneResult> rows[] = {
        {nullptr, InvalidArgument},
        {[](const ObjectId&, IFactory**) { return Success; }, InternalFailure},
        {[](const ObjectId&, IFactory**) -> VaneResult { throw std::bad_alloc(); }, OutOfMemory},
        {[](const ObjectId&, IFactory** factory) {
             *factory = reinterpret_cast<IFactory*>(0x10);
             return ModuleMissing;
         },
         ModuleMissing},
    };
    for (const auto& [getFactory, result] : rows) {
        ComponentEntryPoints points{getFactory, []() -> std::uint32_t { throw 1; }};
        EXPECT_NE(points.ObjectCount(), 0U);
        EXPECT_EQ(Created(points, kSampleId), result);
        EXPECT_EQ(points.CreateInstance(kSampleId, kISampleId, nullptr), InvalidArgument);
        EXPECT_EQ(points.GetFactory(kSampleId, nullptr), InvalidArgument);
    }
}

}  // namespace
}  // namespace tests
