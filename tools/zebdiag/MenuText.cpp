#include "tools/zebdiag/MenuText.h"

#include <algorithm>

namespace HVR::zebdiag {

namespace {

std::string Text(tsLib::HResult result) { return Hexadecimal(tsLib::Number(result)); }

std::string Padded(std::string text, std::size_t width) {
    text.resize(std::max(text.size() + 1, width), ' ');
    return text;
}

}  // namespace

void PrintContents(const MenuContents& contents, Console& console) {
    console.Out("selection   " + (contents.isShellObject ? std::string("the shell namespace's data object")
                                                         : "a drop list of its own, because " + contents.whyNot));
    for (const AskedHandler& handler : contents.handlers) {
        console.Out("handler     " + Utf8(handler.registration.name) + " of " + Utf8(handler.registration.className) +
                    ", " + Utf8(ClassIdText(handler.registration)) + ": " +
                    (handler.TakesPart() ? Count(handler.commands, "command")
                                         : handler.step + " failed with " + Text(handler.result)));
    }
    console.Out("menu");
    for (const MenuItem& item : contents.items) {
        if (item.isSeparator) {
            console.Out("       ----");
        } else if (!item.offset) {
            console.Out("       " + Utf8(item.text));
        } else {
            const std::string number = std::to_string(*item.offset);
            console.Out(std::string(5 - std::min<std::size_t>(number.size(), 5), ' ') + number + "  " +
                        Padded(Utf8(item.text), 24) + Padded(Utf8(item.verb), 14) + Utf8(item.help));
        }
    }
}

void WriteContents(const MenuContents& contents, JsonWriter& json) {
    json.Text("dataObject", contents.isShellObject ? std::string_view("shell") : std::string_view("own"));
    json.BeginArray("handlers");
    for (const AskedHandler& handler : contents.handlers) {
        json.BeginObject().Text("name", handler.registration.name).Text("class", handler.registration.className);
        json.Text("clsid", Utf8(ClassIdText(handler.registration))).Text("result", Text(handler.result));
        if (handler.TakesPart()) {
            json.Number("commands", handler.commands);
        } else {
            json.Text("step", handler.step);
        }
        json.EndObject();
    }
    json.EndArray().BeginArray("items");
    for (const MenuItem& item : contents.items) {
        json.BeginObject();
        if (item.isSeparator) {
            json.Bool("separator", true);
        } else {
            json.Text("text", item.text);
        }
        if (item.offset) {
            json.Number("offset", *item.offset).Text("verb", item.verb).Text("help", item.help);
        }
        json.EndObject();
    }
    json.EndArray();
}

void PrintScanner(const StartedScanner& scanner, Console& console) {
    console.Out("scanner     " + (!scanner.started    ? std::string("not started")
                                  : scanner.processId ? "started as process " + std::to_string(*scanner.processId)
                                                      : std::string("started, gone already")));
    if (scanner.ended && scanner.processId) {
        console.Out("ended       with exit code " + std::to_string(scanner.exitCode));
    }
    if (scanner.report) {
        console.Out("report");
        PrintIndented(*scanner.report, console);
    }
}

void WriteScanner(const StartedScanner& scanner, JsonWriter& json) {
    json.Bool("started", scanner.started).Bool("ended", scanner.ended);
    if (scanner.processId) {
        json.Number("processId", *scanner.processId);
        if (scanner.ended) {
            json.Number("scannerExitCode", scanner.exitCode);
        }
    }
    if (scanner.report) {
        json.Text("report", *scanner.report);
    }
}

}  // namespace HVR::zebdiag
