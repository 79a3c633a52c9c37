// A text file being written, with the states of the language's file streams.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tsLib::platform {

// Good: lines reach the file. Failed: the file could not be opened, or an operation on it failed in a way that a
// stream calls recoverable. Bad: an unrecoverable error, such as a write that the platform refused or a name that
// leads to something other than a file. Outside Good, lines are dropped in silence.
enum class StreamState : std::uint8_t { Good, Failed, Bad };

// One object writes one file at a time; the destructor of an implementation closes what is open. Used on one thread.
class TextOutput {
public:
    // Creates or truncates the file. Others may read, write and delete it meanwhile. The name is the
    // file's own: a link, or one of several names, is taken away first, so that nobody loses what he has by another.
    virtual StreamState Open(const std::u16string& path) = 0;
    // Writes the bytes as they are, then CR LF, and hands both to the platform before it returns.
    virtual void WriteLine(std::string_view utf8) = 0;
    [[nodiscard]] virtual StreamState State() const noexcept = 0;
    [[nodiscard]] virtual bool IsOpen() const noexcept = 0;
    // A close that fails marks the stream as Failed.
    virtual void Close() noexcept = 0;

protected:
    ~TextOutput() = default;
};

}  // namespace tsLib::platform
