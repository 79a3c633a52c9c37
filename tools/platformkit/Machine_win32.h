// What the kit asks of the machine.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace HVR::platformkit {

[[nodiscard]] std::wstring Variable(const wchar_t* name);  // empty when it is not set
[[nodiscard]] bool Exists(const std::wstring& path);
[[nodiscard]] std::string ReadBytes(const std::wstring& path);  // empty when it cannot be read
bool WriteBytes(const std::wstring& path, const std::string& bytes);
void RemoveTree(const std::wstring& path);
[[nodiscard]] std::vector<std::wstring> NamesIn(const std::wstring& pattern);
[[nodiscard]] std::string Utf8(const std::wstring& text);

// Version, kind and language of the system, in lines.
[[nodiscard]] std::string SystemFacts();
[[nodiscard]] bool IsAdministrator();
[[nodiscard]] bool MayWriteMachineKeys();

struct Ended {
    DWORD error = 0;  // when it could not be started
    DWORD exitCode = 0;
    bool isOutOfTime = false;
    std::string output;  // both streams
};
// Runs a program in that folder, where its output goes to a file meanwhile, with an end after so many minutes, or when
// `stop` is set.
[[nodiscard]] Ended Run(const std::wstring& commandLine, const std::wstring& folder, DWORD minutes, HANDLE stop);

}  // namespace HVR::platformkit
