// Right-clicks, beside what the platform's own calls cost.
#include "bench/shell/Rows.h"
#include "bench/shell/Shell.h"

// After windows.h.
#include <wincrypt.h>

namespace bench {

namespace {

// What the calls of a first right-click hand on to each other.
struct FirstState {
    std::wstring strings = ProductFile(L"res\\1033\\ZebShellRes.dll");
    std::wstring control = ProductFile(L"tsQrtCtl.dll");
    HANDLE file = INVALID_HANDLE_VALUE;
    HANDLE controlFile = INVALID_HANDLE_VALUE;
    HMODULE module = nullptr;
    wchar_t text[512] = {};
};

bool ReadFolder(FirstState&) {
    HKEY key = nullptr;
    wchar_t folder[MAX_PATH];
    DWORD size = sizeof(folder);
    const bool isRead =
        RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"Software\\Corvane\\Halvora\\AV", 0, KEY_QUERY_VALUE, &key) == 0 &&
        RegQueryValueExW(key, L"Home Directory", nullptr, nullptr, reinterpret_cast<BYTE*>(folder), &size) == 0;
    RegCloseKey(key);
    return isRead;
}

bool SearchLanguages(FirstState&) {
    WIN32_FIND_DATAW found;
    const HANDLE search = FindFirstFileW(ProductFile(L"res\\*.*").c_str(), &found);
    while (search != INVALID_HANDLE_VALUE && FindNextFileW(search, &found)) {
    }
    return search != INVALID_HANDLE_VALUE && FindClose(search);
}

bool Open(const std::wstring& path, HANDLE& file) {
    file = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    return file != INVALID_HANDLE_VALUE;
}

// The signer's certificate, and the names in it that count.
bool ReadSigner(const std::wstring& path) {
    HCERTSTORE store = nullptr;
    HCRYPTMSG message = nullptr;
    DWORD size = 0;
    std::vector<BYTE> signer;
    PCCERT_CONTEXT certificate = nullptr;
    if (CryptQueryObject(CERT_QUERY_OBJECT_FILE, path.c_str(), CERT_QUERY_CONTENT_FLAG_PKCS7_SIGNED_EMBED,
                         CERT_QUERY_FORMAT_FLAG_BINARY, 0, nullptr, nullptr, nullptr, &store, &message, nullptr) &&
        CryptMsgGetParam(message, CMSG_SIGNER_INFO_PARAM, 0, nullptr, &size)) {
        signer.resize(size);
        CryptMsgGetParam(message, CMSG_SIGNER_INFO_PARAM, 0, signer.data(), &size);
        const auto& found = *reinterpret_cast<const CMSG_SIGNER_INFO*>(signer.data());
        CERT_INFO wanted{};
        wanted.Issuer = found.Issuer;
        wanted.SerialNumber = found.SerialNumber;
        certificate = CertFindCertificateInStore(store, X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, 0,
                                                 CERT_FIND_SUBJECT_CERT, &wanted, nullptr);
    }
    wchar_t text[256];
    for (const char* const name : {szOID_COMMON_NAME, szOID_ORGANIZATIONAL_UNIT_NAME, szOID_ORGANIZATION_NAME,
                                   szOID_LOCALITY_NAME, szOID_STATE_OR_PROVINCE_NAME, szOID_COUNTRY_NAME}) {
        CertGetNameStringW(certificate, CERT_NAME_ATTR_TYPE, 0, const_cast<char*>(name), text, 256);
    }
    const bool isFound = certificate != nullptr;
    CertFreeCertificateContext(certificate);
    CryptMsgClose(message);
    CertCloseStore(store, 0);
    return isFound;
}

// What the platform does in every first right-click of a process that goes by the product's rules, without the registry
// reads that tell where things are. The order is the product's, since the first call of a kind pays for the later ones.
struct FirstCall {
    const char* name;
    bool (*make)(FirstState& state);
} constexpr kFirstCalls[] = {
    {"the folder read from the registry", ReadFolder},
    {"the languages searched in res\\", SearchLanguages},
    {"the resource module opened", [](FirstState& state) { return Open(state.strings, state.file); }},
    {"WinVerifyTrust of the open file", [](FirstState& state) { return BareVerify(state.strings, state.file); }},
    {"its signer read", [](FirstState& state) { return ReadSigner(state.strings); }},
    {"the protection component opened", [](FirstState& state) { return Open(state.control, state.controlFile); }},
    {"WinVerifyTrust of that", [](FirstState& state) { return BareVerify(state.control, state.controlFile); }},
    {"its signer read as well", [](FirstState& state) { return ReadSigner(state.control); }},
    {"the protection component loaded",
     [](FirstState& state) {
         return LoadLibraryExW(state.control.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH) != nullptr &&
                CloseHandle(state.controlFile);
     }},
    {"the module mapped",
     [](FirstState& state) {
         return (state.module = MapStrings(state.strings)) != nullptr && CloseHandle(state.file);
     }},
    {"a text loaded", [](FirstState& state) { return LoadStringW(state.module, 1, state.text, 512) > 0; }},
    {"the menu filled", [](FirstState& state) { return FillMenu(state.text); }},
};

// What no handler that has its text in a resource module can do without.
bool BareClick(const std::wstring& strings) {
    const HMODULE module = MapStrings(strings);
    wchar_t text[512];
    const bool isDone = module != nullptr && LoadStringW(module, 1, text, 512) > 0 && FillMenu(text);
    FreeLibrary(module);
    return isDone;
}

}  // namespace

std::vector<double> FirstFloor() {
    FirstState state;
    std::vector<double> figures{0};
    for (const FirstCall& call : kFirstCalls) {
        const double begin = Now();
        if (!call.make(state)) {
            throw Failure(std::string("first right-click, bare: ") + call.name);
        }
        figures.push_back(Now() - begin);
        figures[0] += figures.back();
    }
    return figures;
}

std::vector<double> FirstClick(std::size_t files) {
    Selection selection(files);
    const Library library;
    const double begin = Now();
    if (!library.RightClick(selection)) {
        throw Failure("no menu item");
    }
    return {Now() - begin};
}

void MeasureClicks(Table& table) {
    const std::string bare = "bare handler: map, read, insert, unmap";
    const std::wstring strings = ProductFile(L"res\\1033\\ZebShellRes.dll");
    {
        const Library library;
        Selection one(1);
        Selection thousand(1000);
        Selection many(100'000);
        const auto click = [&](Selection& selection) { return [&] { return library.RightClick(selection); }; };
        table.Measure(
            {
                Timed({bare}, [&] { return BareClick(strings); }),
                Timed({"warm right-click, 1 file", bare}, click(one)),
                Timed({"warm right-click, 1,000 files", bare}, click(thousand)),
                Timed({"warm right-click, 100,000 files", bare}, click(many)),
            },
            kManyTurns);
    }
    const std::string first = "first right-click, the platform's calls";
    std::vector<Row> floors{{first}};
    for (const FirstCall& call : kFirstCalls) {
        floors.push_back({std::string("... ") + call.name});
    }
    table.Measure({
        InNewProcess(floors, L"--first-floor"),
        InNewProcess({{"first right-click, 1 file", first}}, L"--first-click 1"),
        InNewProcess({{"first right-click, 1,000 files", first}}, L"--first-click 1000"),
        InNewProcess({{"first right-click, 100,000 files", first}}, L"--first-click 100000"),
    });
}

}  // namespace bench
