// Everything that a trust verifier reaches.
#pragma once

#include "tslib/Tracer.h"
#include "tslib/platform/CatalogAdmin.h"
#include "tslib/platform/Clock.h"
#include "tslib/platform/Files.h"
#include "tslib/platform/Modules.h"
#include "tslib/platform/PathForms.h"
#include "tslib/platform/Processes.h"
#include "tslib/platform/Registry.h"
#include "tslib/platform/SignatureObjects.h"
#include "tslib/platform/SystemInfo.h"
#include "tslib/platform/TextRules.h"
#include "tslib/platform/TrustProvider.h"
#include "tslib/verifytrust/HashProvider.h"
#include "tslib/verifytrust/tsVerifyTrustPolicy.h"

namespace tsLib {

// References for the whole life of the verifiers that are made with it. Everything may be called from any thread.
struct TrustServices {
    platform::Files& files;
    platform::PathForms& pathForms;
    platform::TextRules& textRules;
    platform::Clock& clock;
    platform::SystemInfo& systemInfo;
    platform::Modules& modules;
    platform::Processes& processes;
    platform::RegistryReader& registry;
    platform::TrustProvider& trustProvider;
    platform::CatalogAdmin& catalogAdmin;
    platform::CatalogHasher& catalogHasher;
    platform::SignatureObjects& signatures;
    platform::Certificates& certificates;
    HashProviderFactory& hashProviders;
    tsVerifyTrustPolicy* policy;  // null: the alternate policy counts as on
    Tracer tracer;
};

}  // namespace tsLib
