#include <algorithm>
#include <memory>

#include "tools/zebdiag/Verbs.h"
#include "tslib/Utf8.h"

namespace HVR::zebdiag {

namespace {

using tsLib::HResult;
using tsLib::ToUtf8;

std::string Padded(std::string text, std::size_t width) {
    text.resize(std::max(text.size() + 1, width), ' ');
    return text;
}

void Print(const MenuContents& contents, const Output& output) {
    output.Line("selection   " + (contents.whyOwnObject.empty()
                                      ? std::string("the shell namespace's data object")
                                      : "a drop list of its own, because " + contents.whyOwnObject));
    for (const AskedHandler& handler : contents.handlers) {
        output.Line("handler     " + ToUtf8(handler.registration.name) + " of " +
                    ToUtf8(handler.registration.className) + ", " + Text(handler, "command"));
    }
    output.Line("menu");
    for (const MenuItem& item : contents.items) {
        if (item.isSeparator) {
            output.Line("       ----");
        } else if (!item.offset) {
            output.Line("       " + ToUtf8(item.text));
        } else {
            const std::string number = std::to_string(*item.offset);
            output.Line(std::string(5 - std::min<std::size_t>(number.size(), 5), ' ') + number + "  " +
                        Padded(ToUtf8(item.text), 24) + Padded(ToUtf8(item.verb), 14) + ToUtf8(item.help));
        }
    }
}

JsonObject ToJson(const MenuContents& contents) {
    JsonList handlers;
    for (const AskedHandler& handler : contents.handlers) {
        handlers.emplace_back(
            With(handler, "command",
                 {{"name", ToUtf8(handler.registration.name)}, {"class", ToUtf8(handler.registration.className)}}));
    }
    JsonList items;
    for (const MenuItem& item : contents.items) {
        JsonObject member =
            item.isSeparator ? JsonObject{{"separator", true}} : JsonObject{{"text", ToUtf8(item.text)}};
        if (item.offset) {
            member["offset"] = *item.offset;
            member["verb"] = ToUtf8(item.verb);
            member["help"] = ToUtf8(item.help);
        }
        items.emplace_back(std::move(member));
    }
    return {{"dataObject", contents.whyOwnObject.empty() ? "shell" : "own"},
            {"handlers", std::move(handlers)},
            {"items", std::move(items)}};
}

struct Invocation {
    HResult result = HResult::Fail;
    const AskedHandler* handler = nullptr;  // who answered; null when nobody was asked
};

// A shell hands a command name to one handler after the other until one takes it.
Invocation InvokeVerb(ShellMenu& menu, const std::u16string& verb) {
    Invocation invocation;
    const auto& handlers = menu.Contents().handlers;
    for (std::size_t i = 0; i < handlers.size() && tsLib::Failed(invocation.result); ++i) {
        if (handlers[i].TakesPart()) {
            invocation = {menu.InvokeVerb(i, verb), &handlers[i]};
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

// One menu, from its making to its end.
class Session {
public:
    Session(const Given& given, std::optional<std::uint32_t> waitSeconds, ShellMenu& menu, const Output& output)
        : given_(given), waitSeconds_(waitSeconds), menu_(menu), output_(output) {}

    ExitCode Run() {
        const MenuContents& contents = menu_.Contents();
        if (output_.IsJson()) {
            json_ = ToJson(contents);
        } else {
            Print(contents, output_);
        }
        ExitCode code = ExitCode::Yes;
        if (given_.Has("--show")) {
            code = Show();
        } else if (const std::u16string command = given_.Text("--invoke"); !command.empty()) {
            const auto offset = commandline::Number(command);
            code = Finish(offset ? InvokeOffset(menu_, *offset) : InvokeVerb(menu_, command));
        } else if (std::none_of(contents.items.begin(), contents.items.end(),
                                [](const MenuItem& item) { return item.offset.has_value(); })) {
            code = output_.Answer(ExitCode::No, "no handler added a command");
        }
        for (const std::u16string& module : menu_.Close()) {
            output_.Warn(ToUtf8(module) + " stays loaded");
        }
        if (output_.IsJson()) {
            output_.Object(json_);
        }
        return code;
    }

private:
    // For whoever drives the shown menu, each line on stderr says what is on the screen now.
    ExitCode Show() {
        const auto chosen = menu_.Show(
            [this] { output_.Narrate("shown"); },
            [this](const MenuItem& item) {
                output_.Narrate("highlighted " + (item.offset ? std::to_string(*item.offset) : std::string("-")) + " " +
                                (item.verb.empty() ? std::string("-") : ToUtf8(item.verb)));
            });
        if (!chosen) {
            return output_.Answer(ExitCode::No, "nothing was chosen");
        }
        const MenuItem& item = menu_.Contents().items[*chosen];
        if (output_.IsJson()) {
            json_["chosen"] = ToUtf8(item.text);
        } else {
            output_.Line("chosen      " + ToUtf8(item.text));
        }
        return item.offset ? Finish(InvokeOffset(menu_, *item.offset))
                           : output_.Answer(ExitCode::No, "this item is the shell's own; it does nothing here");
    }

    ExitCode Finish(const Invocation& invocation) {
        if (invocation.handler == nullptr) {
            return output_.Answer(ExitCode::No, "no handler has this command");
        }
        const std::string name = ToUtf8(invocation.handler->registration.name);
        const std::string result = Hexadecimal(tsLib::Number(invocation.result));
        if (output_.IsJson()) {
            json_["invoked"] = name;
            json_["result"] = result;
        } else {
            output_.Line("invoked     " + name + ", result " + result);
        }
        if (!waitSeconds_) {
            return tsLib::Succeeded(invocation.result) ? ExitCode::Yes
                                                       : output_.Answer(ExitCode::No, "the command was refused");
        }
        const StartedScanner scanner = menu_.Wait(*waitSeconds_);
        if (output_.IsJson()) {
            Write(scanner, json_);
        } else {
            zebdiag::Print(scanner, output_);
        }
        return scanner.started ? AnswerAfter(waitSeconds_, scanner, output_)
                               : output_.Answer(ExitCode::No, "the scanner was not started");
    }

    const Given& given_;
    const std::optional<std::uint32_t> waitSeconds_;
    ShellMenu& menu_;
    const Output& output_;
    JsonObject json_;
};

}  // namespace

void AddMenuVerb(Program& program, const ShellMenuMaker& make, const FullPath& fullPath) {
    const Syntax verb{
        "menu",
        "does what a shell does on a right-click on these paths",
        "Makes the selection's data object, creates the handlers registered for *, Drive or Folder (the first PATH\n"
        "decides) through COM and has them build one menu. The shell's own items are there for looks. A handler\n"
        "that fails is listed with what failed. --show writes a line to stderr when the menu is on the screen and\n"
        "when an item is highlighted. Exit code 1 when there is no command, when it was refused, when nothing was\n"
        "chosen or when no scanner was started; 3 when the scanner did not end in time.",
        {{"--list", "list the menu's items (this is the default)"},
         {"--invoke", "invoke the command of this name, or at this offset as listed", "VERB|N", {"--list"}},
         {"--show", "show the menu, and invoke what the user chooses", "", {"--list", "--invoke"}},
         PathsArgument(),
         WaitOption("after a command: wait so long for the scanner to end, and show its report")}};
    program.Add(verb, [make, fullPath](const Given& given, const Output& output) {
        if (given.Has("--invoke") && given.Text("--invoke").empty()) {
            throw UsageError("--invoke takes a verb or an offset");
        }
        const auto waitSeconds = WaitSeconds(given);
        const std::unique_ptr<ShellMenu> menu = make(Paths(given, fullPath));
        return Session(given, waitSeconds, *menu, output).Run();
    });
}

}  // namespace HVR::zebdiag
