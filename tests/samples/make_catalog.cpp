// make-catalog MEMBER CATALOG [sha256]: writes an unsigned catalog that lists the file by its SHA-1, or SHA-256, hash.
#include <windows.h>

#include "tslib/platform/Digits.h"
#include "tslib/platform/win32/WideText.h"
#include "tslib/platform/win32/Win32Platform.h"

// After windows.h.
#include <fstream>

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

std::string Sequence(const std::string& content) { return Der(0x30, content); }
std::string Set(const std::string& content) { return Der(0x31, content); }
std::string Octets(const std::string& content) { return Der(0x04, content); }
std::string Tagged0(const std::string& content) { return Der(0xA0, content); }
std::string ObjectId(const std::string& content) { return Der(0x06, content); }
// 1.3.6.1.4.1.311 with what follows.
std::string MicrosoftId(const std::string& rest) { return ObjectId("\x2B\x06\x01\x04\x01\x82\x37" + rest); }

const std::string kNull = Der(0x05, "");
const std::string kSha1 = Sequence(ObjectId("\x2B\x0E\x03\x02\x1A") + kNull);
const std::string kSha256 = Sequence(ObjectId("\x60\x86\x48\x01\x65\x03\x04\x02\x01") + kNull);

// One member: the hash, with the hash in upper-case hexadecimal as its tag.
std::string CatalogOf(const std::vector<std::byte>& hash) {
    const std::string& algorithm = hash.size() == 32 ? kSha256 : kSha1;
    std::u16string tag;
    for (const std::byte byte : hash) {
        tsLib::AppendHex<2>(tag, std::to_integer<std::uint8_t>(byte));
    }
    tag += u'\0';
    std::string subject;  // the id of the subject type, big-endian
    for (const char unit : std::string("{C689AAB8-8E78-11D0-8C47-00C04FC295EE}")) {
        subject += {'\0', unit};
    }
    const std::string memberInfo = Sequence(Der(0x1E, subject) + Der(0x02, {'\x02', '\0'}));
    const std::string imageData = Sequence(Der(0x03, {'\0'}) + Tagged0(Der(0xA2, Der(0x80, ""))));
    const std::string digest = Sequence(algorithm + Octets({reinterpret_cast<const char*>(hash.data()), hash.size()}));
    const std::string indirectData = Sequence(Sequence(MicrosoftId("\x02\x01\x0F") + imageData) + digest);
    const std::string member = Sequence(Octets({reinterpret_cast<const char*>(tag.data()), tag.size() * 2}) +
                                        Set(Sequence(MicrosoftId("\x0C\x02\x02") + Set(memberInfo)) +
                                            Sequence(MicrosoftId("\x02\x01\x04") + Set(indirectData))));
    const std::string list =
        Sequence(Sequence(MicrosoftId("\x0C\x01\x01")) + Octets("0123456789ABCDEF") + Der(0x17, "240101000000Z") +
                 Sequence(MicrosoftId("\x0C\x01\x02") + kNull) + Sequence(member));
    return Sequence(ObjectId("\x2A\x86\x48\x86\xF7\x0D\x01\x07\x02") +
                    Tagged0(Sequence(Der(0x02, "\x01") + Set(algorithm) +
                                     Sequence(MicrosoftId("\x0A\x01") + Tagged0(list)) + Set(""))));
}

}  // namespace

int wmain(int count, wchar_t** arguments) {
    using namespace tsLib::platform;
    win32::Win32Platform& platform = win32::Win32Platform::Instance();
    OwnedFile file(platform.files);
    OwnedCatalogContext context(platform.catalogs);
    const bool sha256 = count == 4;
    std::vector<std::byte> hash(sha256 ? 32 : 20);
    std::uint32_t size = 0;
    if (count < 3 ||
        Failed(platform.files.OpenForReading(win32::FromWide(arguments[1]), FileSharing::Readers, file.Receive())) ||
        (sha256 && Failed(platform.catalogs.AcquireSha256Context(context.Receive()))) ||
        Failed(sha256 ? platform.catalogs.Sha256Hash(context.Get(), file.Get(), hash, size)
                      : platform.catalogs.Hash(file.Get(), hash, size))) {
        return 1;
    }
    std::ofstream output(arguments[2], std::ios::binary);
    output << CatalogOf(hash);
    output.close();
    return output ? 0 : 1;
}
