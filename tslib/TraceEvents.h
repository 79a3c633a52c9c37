// The numbers of the trace records, in blocks of 100 for each area. A number is never given a second meaning.
#pragma once

#include <cstdint>

namespace tsLib {

enum class TraceEvent : std::uint16_t {
    // 100: path expansion and isolation.
    PathInputMissing = 100,         //
    PathMarkUnmatched = 101,        // position, text so far
    PathTokenNameEmpty = 102,       // position, text so far
    PathTokenUnknown = 103,         // name, text so far
    PathTokenMetAgain = 104,        // name, text so far
    PathFolderQueryFailed = 105,    // system error or shell result, name, text so far
    PathMapNotOpened = 106,         // system error, key
    PathTooLong = 107,              // name, text so far
    PathUnexpectedFailure = 108,    //
    PathNameNotLowered = 109,       // system error, text so far
    PathMapKeyMissing = 110,        //
    SharedComponentsUnknown = 111,  // system error
    IsolationUnread = 120,          // system error, isolate.ini when it was found
    // 200: product install paths.
    InstallPathKindUnknown = 200,      // kind
    InstallPathUnexpanded = 201,       // kind, token
    InstallPathNoWindowsFolder = 202,  // system error
    InstallPathNotReturned = 203,      // kind, result
    // 300: trust verifier.
    TrustRefused = 300,              // verdict, level, path; Verbose for an ordinary refusal, else Error
    TrustProviderSlow = 301,         // milliseconds, action, path
    TrustHashProviderSlow = 302,     // milliseconds, operation, path
    TrustFileNotFound = 303,         // system error, path
    TrustEmbeddedRefused = 304,      // provider's answer, path
    TrustSignatureUnopened = 305,    // system error, path of the signed file or its catalog
    TrustSignerUnread = 306,         // system error, path
    TrustSignerNotFound = 307,       // system error, path
    TrustUsagesUnread = 308,         // system error
    TrustSubjectUnread = 309,        // system error
    TrustSignerJudged = 310,         // findings, level, verdict
    TrustShortcutUnopened = 311,     // system error, path
    TrustShortcutAbsent = 312,       // system error, step 1 to 3
    TrustShortcutAnswer = 313,       // cached word, level, verdict
    TrustCacheAnswer = 314,          // cache's result, level, whether of a level that is not comparable, path
    TrustCacheNotKept = 315,         // cache's result, path
    TrustPathFormFailed = 316,       // system error, path
    TrustProcessUnresolved = 317,    // system error, process id
    TrustModuleUnresolved = 318,     // system error
    TrustComServerUnresolved = 319,  // system error, class id
    TrustNarrowPathRefused = 320,    // system error
    TrustPolicyUnread = 321,         // system error
    TrustPolicyUnwritten = 322,      // system error
    TrustNoHashProvider = 323,       //
    TrustUnexpectedFailure = 324,    //
    TrustHashProviderThrew = 325,    //
    TrustFileNotHeld = 326,          // system error, path: somebody writes it, say; NotTrusted
    // 400: catalog lookup.
    CatalogNoSha256 = 400,         //
    CatalogContextRefused = 401,   // system error, whether for SHA-256
    CatalogHashMade = 403,         // "TRUE" or "FALSE", bytes, system error
    CatalogSearchFailed = 404,     // system error
    CatalogPathUnread = 405,       // system error
    CatalogMemberRefused = 406,    // provider's answer, catalog
    CatalogNotHeld = 408,          // system error, catalog: not asked
    CatalogAlgorithmChosen = 407,  // whether SHA-256, provider's answer of the embedded check
    // 500: verification cache.
    CacheArgumentInvalid = 500,   //
    CacheEntryMissing = 501,      // path; Information for a lookup, Warning for a removal
    CacheLevelUnsatisfied = 502,  // path, level
    CacheMemoryShort = 503,       // path
    // 600: scan request and process start.
    ScanTemporaryFolderUnknown = 600,  // system error, length
    ScanListNamed = 601,               // list file
    ScanNoDropList = 602,              //
    ScanEmptyDropList = 603,           //
    ScanListBadStream = 604,           // list file
    ScanItemUnreadable = 605,          // index
    ScanListWriteFailed = 606,         // list file
    ScanOutOfMemory = 607,             //
    ScanLaunch = 620,                  // list file
    ScanListAbsent = 621,              //
    ScannerLookupFailed = 622,         // file name, result
    ScannerUnknown = 623,              // file name, result
    ScannerNotStarted = 624,           // scanner, arguments
    ProcessPathRefused = 640,          // executable
    ProcessFileNotOpened = 641,        // executable, system error
    ProcessVerifierMissing = 642,      // executable
    ProcessFileRefused = 643,          // executable, verdict
    ProcessStartedUnproven = 644,      // executable, verdict: neither trusted nor refused
    ProcessNotCreated = 645,           // executable, system error
    // 1000: menu handler and registration.
    MenuNoDataObject = 1000,         //
    MenuNoDropList = 1001,           // result
    MenuWithoutVerbs = 1002,         // flags
    MenuVerbsOnly = 1003,            // flags
    MenuNoText = 1004,               //
    MenuItemNotInserted = 1005,      // system error
    MenuItemAdded = 1006,            // text, verb
    MenuScanRefused = 1007,          //
    ScriptUnread = 1020,             // resource id
    ScriptMalformed = 1021,          // line, fault
    ScriptKeyFailed = 1022,          // system error, key
    ScriptKeyLeft = 1023,            // key: it has subkeys that are not ours
    TypeLibraryUnwritten = 1024,     // result
    PageProviderUnavailable = 1030,  // result
    // 700: object repository, module loaders, factory cache.
    ModuleNotLoaded = 700,           // system error, path
    ModuleEntryPointMissing = 701,   // entry point that is missing, path
    ModuleFileMissing = 702,         // system error, path
    ModuleRefused = 703,             // verdict, path
    ModuleLoadedUnverified = 704,    // result, verifier module when it is known: modules load unchecked
    FactoryCacheInconsistent = 705,  // path
    ModuleVerifierNotMade = 706,     // path: the factory cache refuses the module
    ModuleLeftLoaded = 707,          // live objects and locks
    ObjectNotCreated = 708,          // result, object id
    ObjectUnknown = 710,             // object id
    RepositoryLoaded = 711,          // entries from the settings store, entries from the registry
    RepositoryStoreFailed = 712,     // result
    RepositoryRegistryFailed = 713,  // system error, key when it is known
    RepositoryStoreSkipped = 714,    // result, entry's index, its name when it is known
    RepositoryEntrySkipped = 715,    // system error, entry's index, its name when it is known
    RepositoryDuplicate = 716,       // object id: the settings store's entry stays
    RepositoryPathUnexpanded = 717,  // object id, stored text
    RepositoryCutShort = 718,        // subkeys, subkeys that were read
    RepositoryUnexpected = 719,      // result
    ModulePathMissing = 720,         // operation: "Load", "VerifyModule" or "GetFactory"
    ModuleLevelUnusable = 721,       // path: a verification was asked for at level 0
    ModuleNotHeld = 722,             // system error, path: not loaded
    // 800: lifetime managers, protection control, settings store.
    LifetimeNameMissing = 800,          //
    LifetimePathTooLong = 801,          // shell result of a buffer that is too small
    LifetimeNameUnknown = 802,          // system error
    LifetimeNotLoaded = 803,            // system error, path
    LifetimeNoExecutable = 804,         // system error
    LifetimeAddressUnknown = 805,       // system error, address
    LifetimeFactoryMissing = 806,       //
    LifetimeFactoryRefused = 807,       // result, object id
    ProtectionNotSuspended = 820,       // system error
    ProtectionNotResumed = 821,         // system error, suspensions
    SettingsInstallationUnknown = 840,  //
    SettingsKeyNotOpened = 841,         // system error, key
    SettingsKeyNotDeleted = 842,        // system error, key
    SettingsSubkeyUnread = 843,         // system error, index
    SettingsValueFailed = 844,          // system error, value
    // 900: protection guard and resource loader.
    AutoProtectSuspended = 900,          //
    AutoProtectNotSuspended = 901,       // result
    AutoProtectUncontrolled = 902,       // nothing suspended, for want of a control
    AutoProtectResumed = 903,            //
    AutoProtectNotResumed = 904,         // result
    AutoProtectControlNotCreated = 905,  // "OBJID_QrtControl", result
    ResourcesNotInitialized = 910,       // module's name, "NULL" when it has none, "<NULL>" without a loader; result
    ResourcesNotUnloaded = 911,          // result
};

}  // namespace tsLib
