// What the kit puts back.
#pragma once

#include <windows.h>

#include <set>
#include <string>
#include <vector>

namespace HVR::platformkit {

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
