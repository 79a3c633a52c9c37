// What the kit asks of the machine, changes on it, and puts back.
#pragma once

#include <windows.h>

#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace HVR::platformkit {

[[nodiscard]] std::wstring Variable(const wchar_t* name);  // empty when it is not set
[[nodiscard]] bool Exists(const std::wstring& path);
[[nodiscard]] std::string ReadBytes(const std::wstring& path);  // empty when it cannot be read
bool WriteBytes(const std::wstring& path, const std::string& bytes);
void RemoveTree(const std::wstring& path);

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

// A certificate among the root certificates that the machine, or the user alone, trusts.
class TestRoot {
public:
    TestRoot(std::string certificate, bool isMachines)
        : certificate_(std::move(certificate)), isMachines_(isMachines) {}
    enum class Added : std::uint8_t { Yes, WasThere, No };
    [[nodiscard]] Added Add() const;
    // True when it is not there afterwards.
    [[nodiscard]] bool Remove() const;

private:
    std::string certificate_;
    bool isMachines_;
};

// What of the machine the suites could leave changed: keys of the registry, and catalogs with names of the tests'.
class Watch {
public:
    Watch();
    // True when nothing of the product, or of its maker, is on the machine, so that the suites can have its keys.
    [[nodiscard]] bool IsMachineFree() const;
    // Takes away what is there now and was not before: catalogs and their folders, and keys if those were written. What
    // it was, in lines; empty when there was nothing.
    [[nodiscard]] std::string PutBack(bool keysToo) const;
    // What is otherwise than before, in lines.
    [[nodiscard]] std::string Differences() const;
    // For the next run, should this one not come to its end.
    [[nodiscard]] std::string ToText() const;
    // Takes away what was not there before that run.
    static std::string PutBack(const std::string& text);

private:
    std::vector<bool> absent_;  // of the watched keys and folders
    std::set<std::wstring> lines_;
};

}  // namespace HVR::platformkit
