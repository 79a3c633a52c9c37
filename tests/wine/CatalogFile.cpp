#include "tests/wine/CatalogFile.h"

#include <initializer_list>

namespace tests {

namespace {

// The little of DER that a catalog needs.
std::string Der(int tag, const std::string& content) {
    std::string length;
    for (std::size_t rest = content.size(); rest != 0; rest >>= 8) {
        length.insert(length.begin(), static_cast<char>(rest & 0xFF));
    }
    std::string der(1, static_cast<char>(tag));
    if (content.size() < 0x80) {
        der += static_cast<char>(content.size());
    } else {
        der += static_cast<char>(0x80 | length.size());
        der += length;
    }
    return der + content;
}

std::string Sequence(std::initializer_list<std::string> parts) {
    std::string content;
    for (const std::string& part : parts) {
        content += part;
    }
    return Der(0x30, content);
}

std::string Set(const std::string& content) { return Der(0x31, content); }
std::string Octets(const std::string& content) { return Der(0x04, content); }
std::string Tagged0(const std::string& content) { return Der(0xA0, content); }
std::string Integer(int small) { return Der(0x02, {static_cast<char>(small >> 8), static_cast<char>(small & 0xFF)}); }

std::string ObjectId(std::initializer_list<unsigned> arcs) {
    std::string content;
    unsigned first = 0;
    std::size_t index = 0;
    for (const unsigned arc : arcs) {
        if (index++ == 0) {
            first = arc;
            continue;
        }
        const unsigned value = index == 2 ? first * 40 + arc : arc;
        std::string groups(1, static_cast<char>(value & 0x7F));
        for (unsigned rest = value >> 7; rest != 0; rest >>= 7) {
            groups.insert(groups.begin(), static_cast<char>(0x80 | (rest & 0x7F)));
        }
        content += groups;
    }
    return Der(0x06, content);
}

const std::string kNull = Der(0x05, "");
const std::string kSha1 = Sequence({ObjectId({1, 3, 14, 3, 2, 26}), kNull});

std::string Attribute(std::initializer_list<unsigned> type, const std::string& value) {
    return Sequence({ObjectId(type), Set(value)});
}

std::string BigEndian(const std::u16string& text) {
    std::string bytes;
    for (const char16_t unit : text) {
        bytes += {static_cast<char>(unit >> 8), static_cast<char>(unit & 0xFF)};
    }
    return bytes;
}

std::string Member(const std::vector<std::byte>& hash) {
    const std::u16string tag = MemberTag(hash) + u'\0';
    const std::string tagBytes(reinterpret_cast<const char*>(tag.data()), tag.size() * 2);
    const std::string hashBytes(reinterpret_cast<const char*>(hash.data()), hash.size());
    const std::string memberInfo =
        Sequence({Der(0x1E, BigEndian(u"{C689AAB8-8E78-11D0-8C47-00C04FC295EE}")), Integer(0x200)});
    const std::string imageData = Sequence({Der(0x03, std::string(1, '\0')), Tagged0(Der(0xA2, Der(0x80, "")))});
    const std::string indirectData = Sequence(
        {Sequence({ObjectId({1, 3, 6, 1, 4, 1, 311, 2, 1, 15}), imageData}), Sequence({kSha1, Octets(hashBytes)})});
    return Sequence({Octets(tagBytes), Set(Attribute({1, 3, 6, 1, 4, 1, 311, 12, 2, 2}, memberInfo) +
                                           Attribute({1, 3, 6, 1, 4, 1, 311, 2, 1, 4}, indirectData))});
}

}  // namespace

std::u16string MemberTag(std::span<const std::byte> hash) {
    std::u16string tag;
    for (const std::byte byte : hash) {
        tag += u"0123456789ABCDEF"[std::to_integer<unsigned>(byte) >> 4];
        tag += u"0123456789ABCDEF"[std::to_integer<unsigned>(byte) & 15];
    }
    return tag;
}

std::string CatalogOf(const std::vector<std::vector<std::byte>>& hashes) {
    std::string members;
    for (const auto& hash : hashes) {
        members += Member(hash);
    }
    const std::string list =
        Sequence({Sequence({ObjectId({1, 3, 6, 1, 4, 1, 311, 12, 1, 1})}), Octets("0123456789ABCDEF"),
                  Der(0x17, "240101000000Z"), Sequence({ObjectId({1, 3, 6, 1, 4, 1, 311, 12, 1, 2}), kNull}),
                  Der(0x30, members)});
    const std::string signedData = Sequence(
        {Der(0x02, "\x01"), Set(kSha1), Sequence({ObjectId({1, 3, 6, 1, 4, 1, 311, 10, 1}), Tagged0(list)}), Set("")});
    return Sequence({ObjectId({1, 2, 840, 113549, 1, 7, 2}), Tagged0(signedData)});
}

}  // namespace tests
