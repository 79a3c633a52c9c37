#include "companions/settingsstore/SettingsStore.h"

#include "companions/settingsstore/SettingsKey.h"
#include "tests/tslib/PathWorld.h"
#include "tslib/VaneRef.h"

namespace tests {
namespace {

using namespace tsLib;

const std::u16string kTop = PathWorld::kHive + u"\\" + PathWorld::kSilo + u"\\Settings";

std::u16string Long(std::size_t length) { return std::u16string(length, u'n'); }

struct SettingsStoreTest : testing::Test {
    ~SettingsStoreTest() override { EXPECT_EQ(count_.Get(), 1U); }  // the store
    VaneRef<ISettingsKey> Writable(const std::u16string& key) {
        VaneRef<ISettingsKey> opened;
        EXPECT_EQ(store_->OpenForWriting(key.c_str(), opened.Receive()), VaneResult::Success);
        return opened;
    }
    PathWorld world_;
    ModuleObjectCount count_;
    VaneRef<ISettingsStore> store_{MakeCounted<HVR::CSettingsStore>(count_, world_, world_.isolation, count_)};
};

TEST_F(SettingsStoreTest, WrittenValues_AreReadBackFromTheInstallationsRoot) {
    const auto key = Writable(u"Product\\Sub");
    EXPECT_EQ(key->WriteText(u"Name", u"G\u00FCte \xD800"), VaneResult::Success);
    EXPECT_EQ(key->WriteNumber(u"Number", 0xFFFFFFFF), VaneResult::Success);
    EXPECT_EQ(key->WriteText(nullptr, u""), VaneResult::Success);
    const auto* stored = world_.registry.Find(PathWorld::kMachine, kTop + u"\\product\\sub", u"name", kKeyView32);
    ASSERT_NE(stored, nullptr);
    EXPECT_EQ(stored->data, StoredText(u"G\u00FCte \xD800").data);

    VaneRef<ISettingsKey> reading;
    ASSERT_EQ(store_->OpenForReading(u"product\\SUB", reading.Receive()), VaneResult::Success);
    char16_t text[8] = u"xxxxxxx";
    std::uint32_t length = 9;
    std::uint32_t number = 0;
    EXPECT_EQ(reading->ReadText(u"NAME", text, 8, &length), VaneResult::Success);
    EXPECT_EQ(std::u16string(text), u"G\u00FCte \xD800");
    EXPECT_EQ(reading->ReadText(u"", text, 1, &length), VaneResult::Success);
    EXPECT_EQ(length, 0U);
    EXPECT_EQ(reading->ReadNumber(u"Number", &number), VaneResult::Success);
    EXPECT_EQ(number, 0xFFFFFFFF);
    EXPECT_EQ(reading->ReadNumber(u"Name", &number), kSettingOtherType);
    EXPECT_EQ(reading->ReadText(u"Number", text, 8, nullptr), kSettingOtherType);
    EXPECT_EQ(reading->WriteText(u"Name", u"x"), kSettingDenied);
    EXPECT_EQ(reading->DeleteValue(u"Name"), kSettingDenied);
    EXPECT_EQ(key->DeleteValue(u"Name"), VaneResult::Success);
    EXPECT_EQ(key->DeleteValue(u"Name"), kSettingMissing);
}

TEST_F(SettingsStoreTest, Texts_AreCutToTheirPlace_AndLimited) {
    const auto key = Writable(u"K");
    EXPECT_EQ(key->WriteText(u"T", u"12345"), VaneResult::Success);
    using Row = std::tuple<std::uint32_t, VaneResult, std::u16string>;
    for (const auto& [capacity, result, expected] :
         {Row{6, VaneResult::Success, u"12345"}, Row{5, kSettingTooLong, u"1234"}, Row{1, kSettingTooLong, u""},
          Row{0, kSettingTooLong, u"untouched"}}) {
        char16_t text[16] = u"untouched";
        std::uint32_t length = 0;
        EXPECT_EQ(key->ReadText(u"T", text, capacity, &length), result);
        EXPECT_EQ(std::u16string(text), expected);
        EXPECT_EQ(length, 5U);
    }
    EXPECT_EQ(key->ReadText(u"T", nullptr, 1, nullptr), VaneResult::InvalidArgument);
    EXPECT_EQ(key->ReadNumber(u"T", nullptr), VaneResult::InvalidArgument);
    EXPECT_EQ(key->WriteText(u"T", nullptr), VaneResult::InvalidArgument);
    EXPECT_EQ(key->WriteText(u"T", Long(32768).c_str()), kSettingTooLong);
    EXPECT_EQ(key->WriteText(u"T", Long(32767).c_str()), VaneResult::Success);
    EXPECT_EQ(key->WriteNumber(Long(16384).c_str(), 1), VaneResult::InvalidArgument);
    EXPECT_EQ(key->WriteNumber(Long(16383).c_str(), 1), VaneResult::Success);
}

TEST_F(SettingsStoreTest, Enumeration_NamesSubkeysAsWritten) {
    Writable(u"A\\Beta");
    Writable(u"A\\alpha\\deeper");
    Writable(u"A\\" + Long(255));
    VaneRef<ISettingsEnumeration> list;
    std::uint32_t count = 0;
    ASSERT_EQ(store_->OpenForEnumeration(u"", list.Receive()), VaneResult::Success);
    EXPECT_EQ(list->SubkeyCount(&count), VaneResult::Success);
    EXPECT_EQ(count, 1U);
    ASSERT_EQ(store_->OpenForEnumeration(u"a", list.Receive()), VaneResult::Success);
    char16_t name[6] = u"";
    std::uint32_t length = 0;
    EXPECT_EQ(list->SubkeyName(0, name, 6, nullptr), VaneResult::Success);
    EXPECT_EQ(std::u16string(name), u"alpha");
    EXPECT_EQ(list->SubkeyName(2, nullptr, 0, &length), kSettingTooLong);
    EXPECT_EQ(length, 255U);
    EXPECT_EQ(list->SubkeyName(3, name, 6, &length), kSettingMissing);
    EXPECT_EQ(list->SubkeyName(0, nullptr, 6, &length), VaneResult::InvalidArgument);
    EXPECT_EQ(list->SubkeyCount(nullptr), VaneResult::InvalidArgument);
    // Deleting a key takes its tree and nothing else.
    Writable(u"A\\B\\C");
    Writable(u"A\\BB");
    EXPECT_EQ(store_->DeleteKey(u"a\\b"), VaneResult::Success);
    EXPECT_EQ(store_->DeleteKey(u"a\\b"), kSettingMissing);
    VaneRef<ISettingsKey> key;
    EXPECT_EQ(store_->OpenForReading(u"A\\BB", key.Receive()), VaneResult::Success);
}

TEST_F(SettingsStoreTest, KeyNames_HaveOneForm) {
    VaneRef<ISettingsKey> key;
    std::u16string longest = Long(4096);
    for (std::size_t i = 200; i < longest.size(); i += 200) {
        longest[i] = u'\\';
    }
    EXPECT_EQ(store_->OpenForReading(longest.c_str(), key.Receive()), kSettingMissing);
    for (const std::u16string& name : {longest + u"n", Long(256), u"a\\" + Long(256) + u"\\a", std::u16string(),
                                       std::u16string(u"a\\\\b"), std::u16string(u"\\a"), std::u16string(u"a\\")}) {
        EXPECT_EQ(store_->OpenForReading(name.c_str(), key.Receive()), VaneResult::InvalidArgument);
        EXPECT_EQ(store_->DeleteKey(name.c_str()), VaneResult::InvalidArgument);
    }
    EXPECT_EQ(store_->OpenForReading(nullptr, key.Receive()), VaneResult::InvalidArgument);
    EXPECT_EQ(store_->OpenForReading(u"a", nullptr), VaneResult::InvalidArgument);
    EXPECT_EQ(store_->DeleteKey(nullptr), VaneResult::InvalidArgument);
}

TEST_F(SettingsStoreTest, Failures_HaveResultsOfTheirOwn) {
    using Row = std::pair<std::uint32_t, VaneResult>;
    for (const auto& [error, result] :
         {Row{3, kSettingMissing}, Row{8, VaneResult::OutOfMemory}, Row{13, kSettingOtherType},
          Row{31, VaneResult::InternalFailure}, Row{234, kSettingTooLong}}) {
        EXPECT_EQ(HVR::SettingsResult(SystemError{error}), result) << error;
    }
    VaneRef<ISettingsKey> key;
    PathWorld lost;
    lost.disk.Remove(PathWorld::kIni);
    const VaneRef<ISettingsStore> store(MakeCounted<HVR::CSettingsStore>(count_, lost, lost.isolation, count_));
    EXPECT_EQ(store->OpenForWriting(u"a", key.Receive()), kSettingsUnavailable);
    EXPECT_EQ(store->DeleteKey(u"a"), kSettingsUnavailable);
}

}  // namespace
}  // namespace tests
