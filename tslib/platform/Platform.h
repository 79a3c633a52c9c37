// The platform as one: a reference to each of its interfaces.
#pragma once

#include "tslib/platform/Catalogs.h"
#include "tslib/platform/Desktop.h"
#include "tslib/platform/Files.h"
#include "tslib/platform/Modules.h"
#include "tslib/platform/PathForms.h"
#include "tslib/platform/Processes.h"
#include "tslib/platform/Registry.h"
#include "tslib/platform/Signatures.h"
#include "tslib/platform/System.h"
#include "tslib/platform/TextRules.h"
#include "tslib/platform/TraceOutput.h"
#include "tslib/platform/TrustProvider.h"

namespace tsLib::platform {

// One for each process, made by its composition root, and one for each test. It and what it refers to outlive
// everything that is made with it. A class that needs one or two interfaces takes those instead. Drop lists and text
// outputs belong to one piece of work and are made for it.
struct Platform {
    Registry& registry;
    Files& files;
    Modules& modules;
    Processes& processes;
    PathForms& pathForms;
    TextRules& textRules;
    Desktop& desktop;
    System& system;
    Catalogs& catalogs;
    Signatures& signatures;
    TrustProvider& trustProvider;
    TraceOutput& trace;
};

}  // namespace tsLib::platform
