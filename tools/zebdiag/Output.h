// What a verb answers, and to whom.
#pragma once

#include <cstdint>
#include <nlohmann/ordered_map.hpp>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace HVR::zebdiag {

// The exit codes of every verb; a script may rely on them.
enum class ExitCode : int {
    Yes = 0,    // the question was answered with yes, or the work was done
    No = 1,     // answered with no: not trusted, not expandable, not started
    Usage = 2,  // the command line cannot be understood; nothing was done
    Error = 3,  // the question could not be answered
};

// Text is UTF-8; a line end is added to each line.
class Console {
public:
    virtual void Out(std::string_view line) = 0;
    virtual void Err(std::string_view line) = 0;
    // Whether people read what Out is given, on a terminal that shows colours, and want them.
    [[nodiscard]] virtual bool ShowsColours() const { return false; }

protected:
    ~Console() = default;
};

// The trace of the product's code in this process.
class Tracing {
public:
    // From now on each record is shown to the user.
    virtual void Show() = 0;
    // The last error that was traced, in words; empty when none was.
    [[nodiscard]] virtual std::string LastError() const = 0;

protected:
    ~Tracing() = default;
};

// Values for nlohmann-json to write. Its own take seconds to compile: only Output.cpp includes them.
struct Json;
using JsonList = std::vector<Json>;
using JsonObject = nlohmann::ordered_map<std::string, Json>;  // keys stay in the order given
struct Json : std::variant<std::string, std::uint32_t, bool, JsonList, JsonObject> {
    using variant::variant;
    Json(std::string_view text) : variant(std::string(text)) {}
};

// Where one run of a verb writes: lines for people, or one JSON object. What is passed must outlive it.
class Output {
public:
    Output(Console& console, const Tracing& tracing, std::string_view verb, bool isJson) noexcept
        : console_(console), tracing_(tracing), verb_(verb), isJson_(isJson) {}

    [[nodiscard]] bool IsJson() const noexcept { return isJson_; }
    void Line(std::string_view line) const { console_.Out(line); }
    [[nodiscard]] bool IsColoured() const { return !isJson_ && console_.ShowsColours(); }
    // On one line; U+FFFD takes the place of what is not UTF-8.
    void Object(const JsonObject& object) const;
    // Each line of the text, moved to the right.
    void Indented(std::string_view text) const;
    // For whoever watches: what happens now.
    void Narrate(std::string_view line) const { console_.Err(line); }
    void Warn(std::string_view what) const;
    // A warning that says why the answer is this one.
    [[nodiscard]] ExitCode Answer(ExitCode code, std::string_view why) const {
        Warn(why);
        return code;
    }
    // The same about a failure of the product's code, with the error that it traced.
    [[nodiscard]] ExitCode AnswerFailure(ExitCode code, const std::string& what) const {
        const std::string error = tracing_.LastError();
        return Answer(code, error.empty() ? what : what + "; " + error);
    }

private:
    Console& console_;
    const Tracing& tracing_;
    std::string_view verb_;
    bool isJson_;
};

// "0x" and eight upper-case hexadecimal digits.
[[nodiscard]] std::string Hexadecimal(std::uint32_t number);
// "1 page", "2 pages".
[[nodiscard]] std::string Count(std::uint64_t count, std::string_view what);

}  // namespace HVR::zebdiag
