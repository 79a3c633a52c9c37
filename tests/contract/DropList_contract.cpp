#include "tests/contract/ContractPlatform.h"

namespace tests {
namespace {

class DropListContract : public ContractTest {
protected:
    static std::vector<std::u16string> ReadAll(DropList& list) {
        std::vector<std::u16string> items;
        const std::uint32_t count = list.Count();
        for (std::uint32_t i = 0; i < count; ++i) {
            items.push_back(list.Item(i));
        }
        return items;
    }
};

TEST_F(DropListContract, NoList_IsNotPresent) {
    contract.WithDropList(nullptr, [](DropList& list) { EXPECT_FALSE(list.IsPresent()); });
}

TEST_F(DropListContract, Items_ComeWhole_InTheirOrder) {
    const std::vector<std::u16string> selections[] = {
        {},
        {u"C:\\"},
        {u"C:\\b", u"C:\\a", u"C:\\b"},
        {u"C:\\Gr\u00FC\u00DFe \u4F60\u597D \U0001F600", std::u16string(u"C:\\\xD800x\xDC00", 6)},
        {u"C:\\" + std::u16string(1000, u'n'), u"\\\\server\\share\\x"},
    };
    for (const auto& items : selections) {
        contract.WithDropList(&items, [&](DropList& list) {
            EXPECT_TRUE(list.IsPresent());
            EXPECT_EQ(list.Count(), items.size());
            EXPECT_EQ(ReadAll(list), items);
            EXPECT_EQ(list.Item(static_cast<std::uint32_t>(items.size())), u"");
            EXPECT_EQ(list.Item(0xFFFFFFFF), u"");
        });
    }
}

TEST_F(DropListContract, Items_CanBeReadInAnyOrder_AndAgain) {
    std::vector<std::u16string> items;
    for (char16_t letter = u'a'; letter <= u'z'; ++letter) {
        items.push_back(u"C:\\" + std::u16string(1, letter));
    }
    contract.WithDropList(&items, [&](DropList& list) {
        for (std::size_t i = items.size(); i-- > 0;) {
            EXPECT_EQ(list.Item(static_cast<std::uint32_t>(i)), items[i]);
        }
        EXPECT_EQ(list.Item(25), u"C:\\z");
        EXPECT_EQ(list.Item(25), u"C:\\z");
    });
}

}  // namespace
}  // namespace tests
