#include "tools/zebdiag/Verbs.h"
#include "tslib/Utf8.h"

namespace HVR::zebdiag {

using tsLib::ToUtf8;

namespace {

void Print(const PageSheet& sheet, const Output& output) {
    for (const AskedHandler& handler : sheet.handlers) {
        output.Line("handler     " + ToUtf8(handler.registration.name) + ", " + Text(handler, "page"));
    }
    for (const std::u16string& title : sheet.titles) {
        output.Line("page        " + ToUtf8(title));
    }
}

void Write(const PageSheet& sheet, const Output& output) {
    JsonList handlers;
    for (const AskedHandler& handler : sheet.handlers) {
        handlers.emplace_back(With(handler, "page", {{"name", ToUtf8(handler.registration.name)}}));
    }
    JsonList pages;
    for (const std::u16string& title : sheet.titles) {
        pages.emplace_back(ToUtf8(title));
    }
    output.Object({{"handlers", std::move(handlers)}, {"pages", std::move(pages)}});
}

}  // namespace

void AddPageVerb(Program& program, const PageHost& host) {
    const Syntax verb{
        "page",
        "shows the property pages of the Display control panel's handlers",
        "Creates the registered property-sheet handlers through COM and has them add their pages to one sheet.\n"
        "--show writes a line to stderr when the sheet is on the screen. Without a desktop the handlers are\n"
        "listed with the numbers of their pages. Exit code 1 when there is no page, 3 when the sheet could not be "
        "shown.",
        {{"--list", "list the pages by their titles (this is the default)"},
         {"--show", "show the property sheet until the user closes it", "", {"--list"}}}};
    program.Add(verb, [host](const Given& given, const Output& output) {
        const PageSheet sheet = host(given.Has("--show"), [&] { output.Narrate("shown"); });
        if (output.IsJson()) {
            Write(sheet, output);
        } else {
            Print(sheet, output);
        }
        for (const std::u16string& module : sheet.stayLoaded) {
            output.Warn(ToUtf8(module) + " stays loaded");
        }
        if (sheet.isShown) {
            return sheet.titles.empty() ? output.Answer(ExitCode::No, "no handler added a page") : ExitCode::Yes;
        }
        return given.Has("--show")
                   ? output.Answer(ExitCode::Error, "the property sheet could not be made")
                   : output.Answer(ExitCode::Yes, "the titles are not known: no window can be made here");
    });
}

}  // namespace HVR::zebdiag
