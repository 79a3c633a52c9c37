// From a module's path or an object's id to an object: loaders, factory cache, instance factory.
#include <thread>

#include "tests/tslib/ComponentWorld.h"
#include "tslib/tsVaneTrustedModuleLoader.h"

namespace tests {
namespace {

using enum VaneResult;

struct LoadingTest : testing::Test, ComponentWorld {
    // The first text of the one record, an error's, since the last call.
    std::u16string TakeRecord(TraceEvent event) {
        const auto records = std::exchange(trace.records, {});
        const auto record = std::ranges::find(records, event, &KeptTrace::event);
        const bool isOne = std::ranges::count(records, event, &KeptTrace::event) == 1;
        return isOne && record->level == TraceLevel::Error && !record->texts.empty() ? record->texts[0] : u"(none)";
    }
    VaneResult GetFactory(const char16_t* path, bool verify = false, TrustLevel level = 0) {
        return cache.GetFactory(path, verify, level, &found);
    }

    tsVaneModuleFactory* found = reinterpret_cast<tsVaneModuleFactory*>(this);
};

TEST_F(LoadingTest, Failures_AreTheSameThroughLoaderAndCache) {
    const Exports both = ModuleExports<2>::Both(sampleObjects);
    disk.PutFile(u"D:\\text.dll");
    disk.PutModule(u"D:\\no count.dll", {*both.begin()});
    disk.PutModule(u"D:\\no factory.dll", {{"getfactory", both.begin()->second}, *both.rbegin()});
    const std::tuple<const char16_t*, VaneResult, TraceEvent, std::u16string> rows[] = {
        {nullptr, InvalidArgument, TraceEvent::ModulePathMissing, u""},
        {u"D:\\none.dll", ModuleMissing, TraceEvent::ModuleNotHeld, u"D:\\none.dll"},
        {u"D:\\text.dll", ModuleMissing, TraceEvent::ModuleNotLoaded, u"D:\\text.dll"},
        {u"D:\\no count.dll", EntryPointMissing, TraceEvent::ModuleEntryPointMissing, u"GetObjectCount"},
        {u"D:\\no factory.dll", EntryPointMissing, TraceEvent::ModuleEntryPointMissing, u"GetFactory"},
    };
    tsVaneModuleLoader loader(*this);
    for (const auto& [path, result, event, text] : rows) {
        EXPECT_EQ(loader.Load(path), result);
        EXPECT_EQ(TakeRecord(event), path == nullptr ? u"Load" : text);
        EXPECT_EQ(GetFactory(path), result);
        EXPECT_EQ(TakeRecord(event), path == nullptr ? u"GetFactory" : text);
        EXPECT_EQ(found, nullptr);
        EXPECT_EQ(cache.Find(path), nullptr);
        EXPECT_EQ(OpenHandles("module"), 0u);
    }
    EXPECT_EQ(Created(loader, kSampleId), InvalidArgument);  // nothing is loaded
    EXPECT_EQ(loader.ObjectCount(), 0u);
    EXPECT_EQ(cache.GetFactory(kSamplePath.c_str(), false, 0, nullptr), InvalidArgument);
}

TEST_F(LoadingTest, TrustedLoader_RefusesOnlyWhatTheVerifierRefuses) {
    for (const TrustResult verdict : {TrustResult::Trusted, TrustResult::NotTrusted, TrustResult::CannotDetermine}) {
        verifiers.verdict = verdict;
        tsVaneTrustedModuleLoader loader(*this, expansion);
        const bool refused = verdict == TrustResult::NotTrusted;
        EXPECT_EQ(loader.Load(kSamplePath.c_str()), refused ? ModuleNotTrusted : Success) << verdict;
        EXPECT_EQ(SampleReferences(), refused ? 0u : 1u);
        EXPECT_EQ(loader.VerifyModule(u"D:\\none.dll"), ModuleMissing);
        EXPECT_EQ(TakeRecord(TraceEvent::ModuleFileMissing), u"D:\\none.dll");
        EXPECT_EQ(loader.VerifyModule(nullptr), InvalidArgument);
        EXPECT_EQ(TakeRecord(TraceEvent::ModulePathMissing), u"VerifyModule");
        EXPECT_EQ(verifiers.asked.back().path, kSamplePath);
        EXPECT_EQ(verifiers.asked.back().level, 3u);
    }
    EXPECT_EQ(verifiers.asked.size(), 3u);
    EXPECT_EQ(verifiers.initialized, std::vector<bool>(3, true));
}

TEST_F(LoadingTest, NoVerifier_LoadsUncheckedAndTakesALaterOneUp) {
    const std::u16string folder = u"D:\\" + std::u16string(200, u'r') + u"\\" + std::u16string(200, u'r');
    const std::u16string verifier = folder + u"\\tsVrTrst.dll";  // of any length
    PutToken(u"tsrootx64", folder);
    verifiers.verdict = TrustResult::NotTrusted;
    modules.onUnload = [&](const std::u16string&) { EXPECT_EQ(verifiers.alive, 0u) << "goes before its module"; };
    ComponentModule wrong{{{kTrustVerifierObjectId, &MakeCounted<CSample>}}};  // lacks the verifier's interface
    ComponentModule empty{{}};
    const auto put = [&](auto& objects) { disk.PutModule(verifier, ModuleExports<0>::Both(objects)); };
    const std::function<void()> breaks[] = {
        [] {},  // there is none
        [&] { put(wrong); },
        [&] { put(empty); },
        [&] { verifiers.none = true; },
        [&] { verifiers.initializeAnswer = 0; },
        [&] { PutToken(u"tsrootx64", u""); },
    };
    for (const auto& breakIt : breaks) {
        breakIt();
        tsVaneTrustedModuleLoader loader(*this, expansion);
        EXPECT_EQ(loader.VerifyModule(kSamplePath.c_str()), Success);
        EXPECT_FALSE(loader.HasVerifier());
        EXPECT_EQ(OpenHandles("module") + verifiers.alive, 0u);  // nothing of one that failed stays
        EXPECT_EQ(std::exchange(trace.records, {}).back().event, TraceEvent::ModuleLoadedUnverified);
        EXPECT_EQ(loader.VerifyModule(u"D:\\none.dll"), ModuleMissing);
        verifiers.none = false;
        verifiers.initializeAnswer = 1;
        PutToken(u"tsrootx64", folder);
        put(verifierObjects);
        EXPECT_EQ(loader.VerifyModule(kSamplePath.c_str()), ModuleNotTrusted);
    }
    modules.onUnload = nullptr;
}

TEST_F(LoadingTest, Cache_GivesOneFactoryForOneModule_AndFreesItUnlessInUse) {
    constexpr char16_t kAlias[] = u"d:\\ROOT\\.\\sample.dll";
    void* made = nullptr;
    {
        tsInstanceFactory own(*this, verifiers);
        ASSERT_EQ(own.GetFactory(kSamplePath.c_str(), false, 0, &found), Success);
        EXPECT_EQ(own.Find(kAlias), nullptr);
        for (const char16_t* path : {kAlias, kAlias, kSamplePath.c_str()}) {
            tsVaneModuleFactory* again = nullptr;
            EXPECT_EQ(own.GetFactory(path, false, 0, &again), Success);
            EXPECT_EQ(again, found);
            EXPECT_EQ(own.Find(path), found);
        }
        EXPECT_EQ(modules.alteredLoads, Texts(2, kSamplePath));  // once for each text, by the file's own name
        EXPECT_EQ(SampleReferences(), 1u);
        ASSERT_EQ(found->CreateInstance(kSampleId, kISampleId, &made), Success);
        ASSERT_EQ(own.GetFactory(kStorePath.c_str(), false, 0, &found), Success);
    }
    EXPECT_EQ(SampleReferences(), 1u);
    EXPECT_EQ(modules.References(storeModule), 0u);
    EXPECT_EQ(trace.Count(TraceEvent::ModuleLeftLoaded), 1u);
    static_cast<ISample*>(made)->Release();
    modules.Free(sampleModule);
}

TEST_F(LoadingTest, Cache_VerifiesBeforeTheFirstLoadWhereAskedTo) {
    verifiers.onVerify = [&] { EXPECT_EQ(disk.TryWrite(kSamplePath), SystemError::SharingViolation) << "it is held"; };
    EXPECT_EQ(GetFactory(kSamplePath.c_str(), true, 0), InvalidArgument);
    EXPECT_EQ(TakeRecord(TraceEvent::ModuleLevelUnusable), kSamplePath);  // a level that judges nothing
    verifiers.verdict = TrustResult::NotTrusted;
    EXPECT_EQ(GetFactory(kSamplePath.c_str(), true, 4), ModuleNotTrusted);
    EXPECT_EQ(verifiers.asked.at(0).level, 4u);
    EXPECT_EQ(TakeRecord(TraceEvent::ModuleRefused), kSamplePath);
    verifiers.none = true;  // here a verifier was asked for: none means no
    EXPECT_EQ(GetFactory(kSamplePath.c_str(), true, 3), ModuleNotTrusted);
    EXPECT_EQ(TakeRecord(TraceEvent::ModuleVerifierNotMade), kSamplePath);
    EXPECT_EQ(SampleReferences(), 0u);
    EXPECT_EQ(found, nullptr);
    verifiers.none = false;
    for (const TrustResult verdict : {TrustResult::FileError, TrustResult::CannotDetermine}) {
        verifiers.verdict = verdict;  // undecided does not do here
        EXPECT_EQ(GetFactory(kSamplePath.c_str(), true, 3), ModuleNotTrusted);
    }
    verifiers.verdict = TrustResult::Trusted;
    EXPECT_EQ(GetFactory(kSamplePath.c_str(), true, 6), ModuleNotTrusted);  // nor a level that says nothing
    EXPECT_EQ(SampleReferences(), 0u);
    EXPECT_EQ(GetFactory(kSamplePath.c_str(), true, 5), Success);
    verifiers.verdict = TrustResult::NotTrusted;  // loaded is loaded
    EXPECT_EQ(GetFactory(kSamplePath.c_str(), true, 3), Success);
    EXPECT_EQ(verifiers.alive, 0u);
    verifiers.onVerify = nullptr;
}

// What the platform would read otherwise than it was verified.
TEST_F(LoadingTest, NamesThatThePlatformChanges_LoadTheVerifiedFileOrNothing) {
    disk.PutModule(u"D:\\plug", ModuleExports<2>::Both(sampleObjects));
    disk.PutModule(u"D:\\plug.dll");
    disk.PutModule(u"D:\\%OS%\\%OS%", ModuleExports<2>::Both(sampleObjects));
    disk.PutModule(u"D:\\%OS%\\a.dll", ModuleExports<2>::Both(sampleObjects));
    const std::tuple<const char16_t*, VaneResult, const char16_t*> rows[] = {
        {u"D:\\plug", Success, u"D:\\plug."},
        {u"D:\\%OS%\\a.dll", Success, u"\\\\?\\D:\\%OS%\\a.dll"},
        {u"D:\\%OS%\\%OS%", ModuleMissing, u""},  // with \\?\, nothing says that there is no extension
        {u"\\\\.\\D:\\plug", ModuleMissing, u""},
        {u"\\\\?\\GLOBALROOT\\D:\\plug", ModuleMissing, u""},
        {u"plug", ModuleMissing, u""},
        {u"D:plug", ModuleMissing, u""},
        {u"\\plug", ModuleMissing, u""},
    };
    for (const auto& [path, result, loadedBy] : rows) {
        modules.alteredLoads.clear();
        tsVaneModuleLoader loader(*this);
        EXPECT_EQ(loader.Load(path), result) << testing::PrintToString(std::u16string(path));
        EXPECT_EQ(modules.alteredLoads, *loadedBy == u'\0' ? Texts{} : Texts{loadedBy});
    }
    // A platform that comes back with another file's module all the same.
    modules.comesBackWith = u"D:\\plug.dll";
    trace.records.clear();
    tsVaneModuleLoader loader(*this);
    EXPECT_EQ(loader.Load(kSamplePath.c_str()), ModuleMissing);
    EXPECT_EQ(TakeRecord(TraceEvent::ModuleNotLoaded), kSamplePath);
    EXPECT_EQ(OpenHandles("module"), 0u);
}

// Between the looks under the shared lock and the exclusive one, where the path is copied.
TEST_F(LoadingTest, Cache_LoadsOnceThoughAnotherThreadDoesMeanwhile) {
    tsVaneModuleFactory* others = nullptr;
    const std::function<void()> other = [&] {
        EXPECT_EQ(cache.GetFactory(kSamplePath.c_str(), false, 0, &others), Success);
    };
    const FailingNew meanwhile(1, &other);
    EXPECT_EQ(GetFactory(kSamplePath.c_str()), Success);
    EXPECT_TRUE(found == others && meanwhile.Fired());
    EXPECT_EQ(modules.alteredLoads, Texts{kSamplePath});
}

TEST_F(LoadingTest, CreationById_HasItsResultsAndOneRecord) {
    constexpr ObjectId kNoFileId{2, 0, 0, {}}, kUnknownId{3, 0, 0, {}}, kNotThereId{4, 0, 0, {}}, kTokenId{5, 0, 0, {}};
    PutObject(kNoFileId, u"D:\\none.dll");
    PutObject(kNotThereId, kSamplePath);
    PutObject(kSampleId, u"%TSROOTX64%\\sample.dll");
    PutObject(kTokenId, u"%missing%\\x.dll");
    PutSetting(kOtherId, kSamplePath);
    PutSetting(kOwnId, u"D:\\evil.dll");
    const std::tuple<ObjectId, InterfaceId, VaneResult> rows[] = {
        {kOwnId, kIFactoryId, NoInterface},      {kOwnId, kISampleId, Success},
        {kUnknownId, kISampleId, ModuleMissing}, {kNoFileId, kISampleId, ModuleMissing},
        {kTokenId, kISampleId, ModuleMissing},   {kNotThereId, kISampleId, InvalidArgument},
        {kSampleId, kISampleId, Success},        {kSampleId, kIFactoryId, NoInterface},
        {kOtherId, kISampleId, Success},
    };
    for (const auto& [id, interfaceId, result] : rows) {
        EXPECT_EQ(Created(components, id, interfaceId), result);
        EXPECT_EQ(TakeRecord(TraceEvent::ObjectNotCreated), Failed(result) ? ToText(id) : u"(none)");
        EXPECT_EQ(modules.alteredLoads.empty(), id == kOwnId);  // own objects need no repository
        EXPECT_EQ(factory.CreateInstance(id, interfaceId, nullptr), InvalidArgument);
    }
    EXPECT_EQ(SampleReferences(), 1u);  // stays loaded for later objects, and is not verified again
    EXPECT_EQ(std::ranges::count(verifiers.asked, kSamplePath, &FakeTrustVerifiers::Asked::path), 1);
    disk.PutModule(u"D:\\other.dll", ModuleExports<3>::Both(sampleObjects));
    PutSetting(kOtherId, u"D:\\other.dll");
    EXPECT_FALSE(repository.Exists(kUnknownId));  // reads the lists again
    verifiers.verdict = TrustResult::NotTrusted;
    disk.Remove(kVerifierPath);  // the verifier at hand stays in use
    EXPECT_EQ(Create(kOtherId), ModuleNotTrusted);
    tsVaneInstanceFactoryImpl without(*this, nullptr, repository, cache, expansion);
    components.Install(&without);
    EXPECT_EQ(Create(kOwnId), ModuleMissing);
    components.Install(nullptr);
    EXPECT_EQ(components.CreateInstance(kOwnId, kISampleId, nullptr), InvalidArgument);
    EXPECT_EQ(Create(kOwnId), NoComponentSource);
}

TEST_F(LoadingTest, ThreadsCreatingAndMissing_OneWrapperAndNothingLeft) {
    PutObject(kSampleId, kSamplePath);
    PutSetting(kOtherId, u"%tsrootx64%\\.\\Sample.dll");
    disk.Remove(kVerifierPath);  // its script is for one thread
    const auto work = [&] {
        for (int i = 0; i < 20; ++i) {
            EXPECT_EQ(Create(i % 2 == 0 ? kSampleId : kOtherId), Success);
            EXPECT_EQ(Create(kOwnId), Success);
            EXPECT_TRUE(i % 8 != 0 || Create(kIVaneBaseId) == ModuleMissing);
        }
    };
    { const std::jthread threads[] = {std::jthread(work), std::jthread(work), std::jthread(work), std::jthread(work)}; }
    EXPECT_EQ(OpenHandles("registry key"), 1u);  // the path-expansion map
    EXPECT_EQ(SampleReferences(), 1u);
    EXPECT_EQ(cache.Find(u"D:\\Root\\.\\Sample.dll"), cache.Find(kSamplePath.c_str()));
}

}  // namespace
}  // namespace tests
