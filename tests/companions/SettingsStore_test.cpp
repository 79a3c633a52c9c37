#include "companions/settingsstore/SettingsStore.h"

#include <gtest/gtest.h>

#include "tests/fakes/FailingNew.h"
#include "tests/tslib/PathWorld.h"
#include "tslib/VaneRef.h"

namespace tests {
namespace {

using namespace tsLib;
using namespace tsLib::platform;

const std::u16string kTop = PathWorld::kHive + u"\\" + PathWorld::kSilo + u"\\Settings";

class SettingsStoreTest : public testing::Test {
protected:
    ~SettingsStoreTest() override {
        EXPECT_EQ(count_.Get(), 1u);  // the store
        EXPECT_EQ(world_.registry.OpenHandles(), 0u);
        EXPECT_EQ(world_.registry.Misuses(), 0u);
    }
    VaneRef<ISettingsKey> Writable(const char16_t* key) {
        VaneRef<ISettingsKey> opened;
        EXPECT_EQ(store_->OpenForWriting(key, opened.Receive()), VaneResult::Success);
        return opened;
    }
    PathWorld world_;
    ModuleObjectCount count_;
    VaneRef<ISettingsStore> store_{MakeCounted<HVR::CSettingsStore>(
        count_, HVR::SettingsStoreSeam{world_.registry, world_.registry, world_.registry, world_.trace,
                                       world_.isolation, count_})};
};

TEST_F(SettingsStoreTest, WrittenValues_AreReadBackFromTheInstallationsRoot) {
    const auto key = Writable(u"Product\\Sub");
    EXPECT_EQ(key->WriteText(u"Name", u"G\u00FCte \xD800"), VaneResult::Success);
    EXPECT_EQ(key->WriteNumber(u"Number", 0xFFFFFFFF), VaneResult::Success);
    EXPECT_EQ(key->WriteText(nullptr, u""), VaneResult::Success);
    const auto* stored = world_.registry.Find(PathWorld::kMachine, kTop + u"\\product\\sub", u"name", kKeyView32);
    ASSERT_NE(stored, nullptr);
    EXPECT_EQ(stored->data, TextValue(u"G\u00FCte \xD800").data);

    VaneRef<ISettingsKey> reading;
    ASSERT_EQ(store_->OpenForReading(u"product\\SUB", reading.Receive()), VaneResult::Success);
    EXPECT_EQ(count_.Get(), 3u);
    char16_t text[8] = u"xxxxxxx";
    std::uint32_t length = 9;
    std::uint32_t number = 0;
    EXPECT_EQ(reading->ReadText(u"NAME", text, 8, &length), VaneResult::Success);
    EXPECT_EQ(std::u16string(text), u"G\u00FCte \xD800");
    EXPECT_EQ(length, 6u);
    EXPECT_EQ(reading->ReadText(u"", text, 1, &length), VaneResult::Success);
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(reading->ReadNumber(u"Number", &number), VaneResult::Success);
    EXPECT_EQ(number, 0xFFFFFFFF);
    EXPECT_EQ(reading->ReadNumber(u"Name", &number), kSettingOtherType);
    EXPECT_EQ(reading->ReadText(u"Number", text, 8, nullptr), kSettingOtherType);
    EXPECT_EQ(reading->ReadText(u"None", text, 8, nullptr), kSettingMissing);
    EXPECT_EQ(reading->WriteText(u"Name", u"x"), kSettingDenied);
    EXPECT_EQ(reading->WriteNumber(u"Name", 1), kSettingDenied);
    EXPECT_EQ(reading->DeleteValue(u"Name"), kSettingDenied);
    EXPECT_EQ(key->DeleteValue(u"Name"), VaneResult::Success);
    EXPECT_EQ(key->DeleteValue(u"Name"), kSettingMissing);
    EXPECT_EQ(reading->ReadText(u"Name", text, 8, nullptr), kSettingMissing);
}

TEST_F(SettingsStoreTest, TextThatDoesNotFit_IsCutAndItsLengthTold) {
    const auto key = Writable(u"K");
    EXPECT_EQ(key->WriteText(u"T", u"12345"), VaneResult::Success);
    struct Row {
        std::uint32_t capacity;
        VaneResult result;
        std::u16string text;
    };
    const Row rows[] = {{6, VaneResult::Success, u"12345"},
                        {5, kSettingTooLong, u"1234"},
                        {1, kSettingTooLong, u""},
                        {0, kSettingTooLong, u"untouched"}};
    for (const Row& row : rows) {
        char16_t text[16] = u"untouched";
        std::uint32_t length = 0;
        EXPECT_EQ(key->ReadText(u"T", text, row.capacity, &length), row.result);
        EXPECT_EQ(std::u16string(text), row.text);
        EXPECT_EQ(length, 5u);
    }
    EXPECT_EQ(key->ReadText(u"T", nullptr, 0, nullptr), kSettingTooLong);
    EXPECT_EQ(key->ReadText(u"T", nullptr, 1, nullptr), VaneResult::InvalidArgument);
    EXPECT_EQ(key->WriteText(u"T", std::u16string(32768, u'x').c_str()), kSettingTooLong);
    EXPECT_EQ(key->WriteText(u"T", std::u16string(32767, u'x').c_str()), VaneResult::Success);
    std::u16string text(32768, u'\0');
    EXPECT_EQ(key->ReadText(u"T", text.data(), 32768, nullptr), VaneResult::Success);
    EXPECT_EQ(key->WriteText(std::u16string(16384, u'n').c_str(), u"x"), VaneResult::InvalidArgument);
    EXPECT_EQ(key->WriteText(u"T", nullptr), VaneResult::InvalidArgument);
    EXPECT_EQ(key->ReadNumber(u"T", nullptr), VaneResult::InvalidArgument);
}

TEST_F(SettingsStoreTest, Enumeration_NamesSubkeysAsWritten) {
    static_cast<void>(Writable(u"A\\Beta"));
    static_cast<void>(Writable(u"A\\alpha\\deeper"));
    VaneRef<ISettingsEnumeration> list;
    ASSERT_EQ(store_->OpenForEnumeration(u"", list.Receive()), VaneResult::Success);
    std::uint32_t count = 0;
    EXPECT_EQ(list->SubkeyCount(&count), VaneResult::Success);
    EXPECT_EQ(count, 1u);
    ASSERT_EQ(store_->OpenForEnumeration(u"a", list.Receive()), VaneResult::Success);
    EXPECT_EQ(list->SubkeyCount(&count), VaneResult::Success);
    EXPECT_EQ(count, 2u);
    char16_t name[6] = u"";
    std::uint32_t length = 0;
    EXPECT_EQ(list->SubkeyName(0, name, 6, &length), VaneResult::Success);
    EXPECT_EQ(std::u16string(name), u"alpha");
    EXPECT_EQ(list->SubkeyName(1, name, 4, &length), kSettingTooLong);
    EXPECT_EQ(std::u16string(name), u"Bet");
    EXPECT_EQ(length, 4u);
    EXPECT_EQ(list->SubkeyName(2, name, 6, &length), kSettingMissing);
    EXPECT_EQ(list->SubkeyName(0, nullptr, 6, &length), VaneResult::InvalidArgument);
    EXPECT_EQ(list->SubkeyCount(nullptr), VaneResult::InvalidArgument);
}

TEST_F(SettingsStoreTest, DeleteKey_TakesTheTreeAndNothingElse) {
    static_cast<void>(Writable(u"A\\B\\C"));
    static_cast<void>(Writable(u"A\\BB"));
    for (const char16_t* key : {u"", u"\\", u"A\\", u"\\A", u"A\\\\B"}) {
        EXPECT_EQ(store_->DeleteKey(key), VaneResult::InvalidArgument);
    }
    EXPECT_EQ(store_->DeleteKey(nullptr), VaneResult::InvalidArgument);
    EXPECT_EQ(store_->DeleteKey(u"a\\b"), VaneResult::Success);
    EXPECT_EQ(store_->DeleteKey(u"a\\b"), kSettingMissing);
    VaneRef<ISettingsKey> key;
    EXPECT_EQ(store_->OpenForReading(u"A\\B\\C", key.Receive()), kSettingMissing);
    EXPECT_EQ(store_->OpenForReading(u"A\\BB", key.Receive()), VaneResult::Success);
}

TEST_F(SettingsStoreTest, KeysThatCannotBeOpened_SayWhy) {
    VaneRef<ISettingsKey> key;
    const std::u16string fits = std::u16string(255, u'n') + u"\\" + std::u16string(255, u'n');
    EXPECT_EQ(store_->OpenForReading(fits.c_str(), key.Receive()), kSettingMissing);
    for (const std::u16string& name : {std::u16string(256, u'n'), u"a\\" + std::u16string(256, u'n'), std::u16string(),
                                       std::u16string(u"a\\\\b"), std::u16string(u"\\a"), std::u16string(u"a\\")}) {
        EXPECT_EQ(store_->OpenForReading(name.c_str(), key.Receive()), VaneResult::InvalidArgument);
        EXPECT_EQ(store_->OpenForWriting(name.c_str(), key.Receive()), VaneResult::InvalidArgument);
    }
    EXPECT_EQ(store_->OpenForReading(nullptr, key.Receive()), VaneResult::InvalidArgument);
    EXPECT_EQ(store_->OpenForReading(u"a", nullptr), VaneResult::InvalidArgument);
    EXPECT_EQ(store_->OpenForEnumeration(u"a", nullptr), VaneResult::InvalidArgument);
    world_.registry.FailOpening(PathWorld::kMachine, kTop + u"\\closed", SystemError::AccessDenied, kKeyView32);
    EXPECT_EQ(store_->OpenForWriting(u"closed", key.Receive()), kSettingDenied);
    EXPECT_EQ(store_->OpenForReading(u"closed", key.Receive()), kSettingDenied);
    EXPECT_FALSE(key);

    PathWorld lost;
    lost.files.Remove(PathWorld::kIni);
    const VaneRef<ISettingsStore> store(MakeCounted<HVR::CSettingsStore>(
        count_,
        HVR::SettingsStoreSeam{lost.registry, lost.registry, lost.registry, lost.trace, lost.isolation, count_}));
    EXPECT_EQ(store->OpenForWriting(u"a", key.Receive()), kSettingsUnavailable);
    EXPECT_EQ(store->DeleteKey(u"a"), kSettingsUnavailable);
}

TEST_F(SettingsStoreTest, FaultAndMemorySweeps_LeakNothing) {
    static_cast<void>(Writable(u"A\\B")->WriteText(u"T", u"text"));
    world_.ShareFaults();
    const auto use = [&] {
        VaneRef<ISettingsEnumeration> list;
        VaneRef<ISettingsKey> key;
        char16_t text[16];
        std::uint32_t count = 0;
        VaneResult result = store_->OpenForEnumeration(u"A", list.Receive());
        const auto then = [&](auto&& step) {
            if (Succeeded(result)) {
                result = step();
            }
        };
        then([&] { return list->SubkeyCount(&count); });
        then([&] { return list->SubkeyName(0, text, 16, nullptr); });
        then([&] { return store_->OpenForWriting(u"A\\B", key.Receive()); });
        then([&] { return key->ReadText(u"T", text, 16, nullptr); });
        then([&] { return key->WriteText(u"T", u"text"); });
        then([&] { return store_->OpenForWriting(u"A\\C", key.Receive()); });
        then([&] { return store_->DeleteKey(u"A\\C"); });
        return result;
    };
    for (const bool memory : {false, true}) {
        bool fired = true;
        for (std::uint32_t n = 1; fired; ++n) {
            VaneResult result = VaneResult::Success;
            if (memory) {
                const FailingNew failing(n);
                result = use();
                fired = failing.Fired();
            } else {
                world_.faults.FailCall(n, SystemError::AccessDenied);
                result = use();
                fired = world_.faults.Fired();
                world_.faults.Disarm();
            }
            EXPECT_EQ(result, !fired ? VaneResult::Success : memory ? VaneResult::OutOfMemory : kSettingDenied) << n;
            EXPECT_EQ(count_.Get(), 1u) << n;
            EXPECT_EQ(world_.registry.OpenHandles(), 0u) << n;
            ASSERT_LT(n, 500u);
        }
    }
}

}  // namespace
}  // namespace tests
