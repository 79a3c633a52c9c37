#include "tools/zebdiag/MenuVerb.h"

#include <algorithm>

#include "tools/zebdiag/JsonWriter.h"
#include "tools/zebdiag/MenuText.h"

namespace HVR::zebdiag {

namespace {

using tsLib::HResult;

struct Invocation {
    HResult result = HResult::Fail;
    const AskedHandler* handler = nullptr;  // who answered; null when nobody was asked
};

std::string Text(HResult result) { return Hexadecimal(tsLib::Number(result)); }

// A shell hands a command name to one handler after the other until one takes it.
Invocation InvokeVerb(ShellMenu& menu, const std::u16string& verb) {
    Invocation invocation;
    const auto& handlers = menu.Contents().handlers;
    for (std::size_t i = 0; i < handlers.size(); ++i) {
        if (handlers[i].TakesPart()) {
            invocation = {menu.InvokeVerb(i, verb), &handlers[i]};
            if (tsLib::Succeeded(invocation.result)) {
                break;
            }
        }
    }
    return invocation;
}

Invocation InvokeOffset(ShellMenu& menu, std::uint32_t offset) {
    const auto& handlers = menu.Contents().handlers;
    for (std::size_t i = 0; i < handlers.size(); ++i) {
        if (offset >= handlers[i].firstOffset && offset - handlers[i].firstOffset < handlers[i].commands) {
            return {menu.InvokeOffset(i, offset - handlers[i].firstOffset), &handlers[i]};
        }
    }
    return {};
}

// For whoever drives the shown menu: each line says what is on the screen now.
class Narrator final : public MenuWatcher {
public:
    explicit Narrator(Console& console) noexcept : console_(console) {}
    void OnShown() override { console_.Err("shown"); }
    void OnHighlighted(const MenuItem& item) override {
        console_.Err("highlighted " + (item.offset ? std::to_string(*item.offset) : std::string("-")) + " " +
                     (item.verb.empty() ? std::string("-") : Utf8(item.verb)));
    }

private:
    Console& console_;
};

struct Request {
    std::vector<std::u16string> paths;
    bool show = false;
    std::optional<std::u16string> invoke;
    std::optional<std::uint32_t> waitSeconds;
};

std::optional<Request> Read(const FullPath& fullPath, const CommandLine& line, std::string& error) {
    Request request;
    request.show = line.Has(u"--show");
    if (const auto* command = line.Value(u"--invoke")) {
        request.invoke = *command;
    }
    if (static_cast<int>(line.Has(u"--list")) + static_cast<int>(request.show) +
            static_cast<int>(request.invoke.has_value()) >
        1) {
        error = "--list, --invoke and --show exclude each other";
        return std::nullopt;
    }
    if (request.invoke && request.invoke->empty()) {
        error = "--invoke takes a verb or an offset";
        return std::nullopt;
    }
    if (const auto* seconds = line.Value(u"--wait")) {
        request.waitSeconds = Number(*seconds);
        if (!request.waitSeconds || *request.waitSeconds > 86400) {
            error = "--wait takes a number of seconds, at most 86400";
            return std::nullopt;
        }
    }
    if (line.operands.empty()) {
        error = "at least one PATH is needed";
        return std::nullopt;
    }
    for (const std::u16string& operand : line.operands) {
        if (operand.empty() || operand.find(u'\0') != std::u16string::npos) {
            error = "a PATH is empty";
            return std::nullopt;
        }
        request.paths.push_back(fullPath(operand));
    }
    return request;
}

class Session {
public:
    Session(const Request& request, bool isJson, ShellMenu& menu, Console& console)
        : request_(request), isJson_(isJson), menu_(menu), console_(console) {}

    ExitCode Run() {
        const MenuContents& contents = menu_.Contents();
        json_.BeginObject();
        if (isJson_) {
            WriteContents(contents, json_);
        } else {
            PrintContents(contents, console_);
        }
        ExitCode code = ExitCode::Yes;
        if (request_.show) {
            Narrator narrator(console_);
            const auto chosen = menu_.Show(narrator);
            code = chosen ? Choose(contents.items[*chosen]) : Nothing("nothing was chosen");
        } else if (request_.invoke) {
            const auto offset = Number(*request_.invoke);
            code = Finish(offset ? InvokeOffset(menu_, *offset) : InvokeVerb(menu_, *request_.invoke));
        } else if (std::none_of(contents.items.begin(), contents.items.end(),
                                [](const MenuItem& item) { return item.offset.has_value(); })) {
            code = Nothing("no handler added a command");
        }
        for (const std::u16string& module : menu_.Close()) {
            console_.Err("zebdiag menu: " + Utf8(module) + " stays loaded");
        }
        if (isJson_) {
            console_.Out(json_.EndObject().Str());
        }
        return code;
    }

private:
    ExitCode Nothing(std::string_view why) {
        console_.Err("zebdiag menu: " + std::string(why));
        return ExitCode::No;
    }

    ExitCode Choose(const MenuItem& item) {
        if (!isJson_) {
            console_.Out("chosen      " + Utf8(item.text));
        }
        json_.Text("chosen", item.text);
        return item.offset ? Finish(InvokeOffset(menu_, *item.offset))
                           : Nothing("this item is the shell's own; it does nothing here");
    }

    ExitCode Finish(const Invocation& invocation) {
        if (invocation.handler == nullptr) {
            return Nothing("no handler has this command");
        }
        if (isJson_) {
            json_.Text("invoked", invocation.handler->registration.name).Text("result", Text(invocation.result));
        } else {
            console_.Out("invoked     " + Utf8(invocation.handler->registration.name) + ", result " +
                         Text(invocation.result));
        }
        if (!request_.waitSeconds) {
            return tsLib::Succeeded(invocation.result) ? ExitCode::Yes : Nothing("the command was refused");
        }
        const StartedScanner scanner = menu_.Wait(*request_.waitSeconds);
        if (isJson_) {
            WriteScanner(scanner, json_);
        } else {
            PrintScanner(scanner, console_);
        }
        if (!scanner.started) {
            return Nothing("the scanner was not started");
        }
        if (!scanner.ended) {
            console_.Err("zebdiag menu: the scanner did not end within " + std::to_string(*request_.waitSeconds) +
                         " s");
            return ExitCode::Error;
        }
        return ExitCode::Yes;
    }

    const Request& request_;
    bool isJson_;
    ShellMenu& menu_;
    Console& console_;
    JsonWriter json_;
};

}  // namespace

Verb MakeMenuVerb(ShellMenuMaker make, FullPath fullPath) {
    return {
        u"menu",
        "PATH... [--list | --invoke VERB | --invoke N | --show] [--wait SECONDS]",
        "does what a shell does on a right-click on these paths",
        "  --list           list the menu's items (this is the default)\n"
        "  --invoke VERB    invoke the command of this name\n"
        "  --invoke N       invoke the command at this offset, as listed\n"
        "  --show           show the menu over a window, and invoke what the user chooses\n"
        "  --wait SECONDS   after a command: wait so long for the scanner to end, and show its report\n"
        "\n"
        "Makes the selection's data object, creates the handlers registered for *, Drive or Folder (the first PATH\n"
        "decides) through COM and has them build one menu. The shell's own items are there for looks. A handler\n"
        "that fails is listed with what failed. --show writes a line to stderr when the menu is on the screen and\n"
        "when an item is highlighted. Exit code 1 when there is no command, when it was refused, when nothing was\n"
        "chosen or when no scanner was started; 3 when the scanner did not end in time. Put -- before a path that\n"
        "begins with two dashes.",
        WithCommonOptions({{u"--list"}, {u"--invoke", true}, {u"--show"}, {u"--wait", true}}),
        [make = std::move(make), fullPath = std::move(fullPath)](const CommandLine& line, Console& console) {
            std::string error;
            const auto request = Read(fullPath, line, error);
            if (!request) {
                return UsageError(console, u"menu", error);
            }
            const std::unique_ptr<ShellMenu> menu = make(request->paths);
            return Session(*request, line.Has(u"--json"), *menu, console).Run();
        }};
}

}  // namespace HVR::zebdiag
