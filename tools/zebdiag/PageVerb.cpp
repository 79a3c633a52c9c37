#include "tools/zebdiag/PageVerb.h"

#include <utility>

#include "tools/zebdiag/JsonWriter.h"

namespace HVR::zebdiag {

namespace {

void Print(const PageSheet& sheet, Console& console) {
    for (const AskedHandler& handler : sheet.handlers) {
        console.Out(
            "handler     " + Utf8(handler.registration.name) + ", " + Utf8(ClassIdText(handler.registration)) + ": " +
            (handler.TakesPart() ? Count(handler.commands, "page")
                                 : handler.step + " failed with " + Hexadecimal(tsLib::Number(handler.result))));
    }
    for (const std::u16string& title : sheet.titles) {
        console.Out("page        " + Utf8(title));
    }
}

void Write(const PageSheet& sheet, Console& console) {
    JsonWriter json;
    json.BeginObject().BeginArray("handlers");
    for (const AskedHandler& handler : sheet.handlers) {
        json.BeginObject()
            .Text("name", handler.registration.name)
            .Text("clsid", Utf8(ClassIdText(handler.registration)));
        json.Text("result", Hexadecimal(tsLib::Number(handler.result)));
        if (handler.TakesPart()) {
            json.Number("pages", handler.commands);
        } else {
            json.Text("step", handler.step);
        }
        json.EndObject();
    }
    json.EndArray().BeginArray("pages");
    for (const std::u16string& title : sheet.titles) {
        json.Element(title);
    }
    console.Out(json.EndArray().EndObject().Str());
}

}  // namespace

Verb MakePageVerb(PageHost host) {
    return {
        u"page",
        "[--list | --show]",
        "shows the property pages of the Display control panel's handlers",
        "  --list   list the pages by their titles (this is the default)\n"
        "  --show   show the property sheet until the user closes it\n"
        "\n"
        "Creates the registered property-sheet handlers through COM and has them add their pages to one sheet.\n"
        "--show writes a line to stderr when the sheet is on the screen. Exit code 1 when there is no page, 3 when\n"
        "the sheet could not be made.",
        WithCommonOptions({{u"--list"}, {u"--show"}}),
        [host = std::move(host)](const CommandLine& line, Console& console) {
            if (!line.operands.empty()) {
                return UsageError(console, u"page", "no operand is expected");
            }
            if (line.Has(u"--list") && line.Has(u"--show")) {
                return UsageError(console, u"page", "--list and --show exclude each other");
            }
            const PageSheet sheet = host(line.Has(u"--show"), [&] { console.Err("shown"); });
            if (line.Has(u"--json")) {
                Write(sheet, console);
            } else {
                Print(sheet, console);
            }
            for (const std::u16string& module : sheet.stayLoaded) {
                console.Err("zebdiag page: " + Utf8(module) + " stays loaded");
            }
            if (!sheet.isShown) {
                console.Err("zebdiag page: the property sheet could not be made");
                return ExitCode::Error;
            }
            if (sheet.titles.empty()) {
                console.Err("zebdiag page: no handler added a page");
                return ExitCode::No;
            }
            return ExitCode::Yes;
        }};
}

}  // namespace HVR::zebdiag
