// What zebdiag menu says, for people and as members of a JSON object.
#pragma once

#include "tools/zebdiag/Console.h"
#include "tools/zebdiag/JsonWriter.h"
#include "tools/zebdiag/ShellMenu.h"

namespace HVR::zebdiag {

void PrintContents(const MenuContents& contents, Console& console);
void WriteContents(const MenuContents& contents, JsonWriter& json);
void PrintScanner(const StartedScanner& scanner, Console& console);
void WriteScanner(const StartedScanner& scanner, JsonWriter& json);

}  // namespace HVR::zebdiag
