// What the verbs need of Windows.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "composition/ProductRuntime.h"
#include "tools/zebdiag/Verbs.h"

namespace HVR::zebdiag {

// Runs the scan request on a drop list of the paths.
[[nodiscard]] ScanOutcome RunScan(ProductRuntime& runtime, const std::vector<std::u16string>& paths,
                                  std::optional<std::uint32_t> waitSeconds);

// The context menu of a selection, built as a shell builds it.
[[nodiscard]] std::unique_ptr<ShellMenu> MakeWin32ShellMenu(const tsLib::platform::Platform& platform,
                                                            std::vector<std::u16string> paths);

// The same, but empty before this handler alone is asked.
[[nodiscard]] std::unique_ptr<ShellMenu> MakeWin32HandlerMenu(const tsLib::platform::Platform& platform,
                                                              const RegisteredHandler& handler, std::u16string path);

// The Display control panel's property sheet, made as a control panel makes it.
[[nodiscard]] PageSheet RunDisplaySheet(tsLib::platform::Registry& registry, bool show,
                                        const std::function<void()>& onShown);

}  // namespace HVR::zebdiag
