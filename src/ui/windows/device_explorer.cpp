#include "ui/device_explorer.h"

#include "platform/windows/own_module.h"
#include "ui/windows/explorer_dialog.h"
#include "ui/windows/explorer_language.h"
#include "ui/windows/resource_ids.h"
#include "ui/windows/window_dpi.h"

namespace passbridge {

namespace {

/// Windows of this thread that are made while it lives have the controls that this library's
/// manifest names, whatever the application's has.
class ModernControls {
 public:
  ModernControls() {
    ACTCTXW request{};
    request.cbSize = sizeof request;
    request.dwFlags = ACTCTX_FLAG_HMODULE_VALID | ACTCTX_FLAG_RESOURCE_NAME_VALID;
    request.hModule = static_cast<HMODULE>(platform::OwnModule());
    request.lpResourceName = MAKEINTRESOURCEW(PASSBRIDGE_MANIFEST);
    context_ = ::CreateActCtxW(&request);
    active_ = context_ != INVALID_HANDLE_VALUE && ::ActivateActCtx(context_, &cookie_);
    INITCOMMONCONTROLSEX controls{sizeof controls, ICC_LISTVIEW_CLASSES};
    ::InitCommonControlsEx(&controls);
  }
  ModernControls(const ModernControls&) = delete;
  ModernControls& operator=(const ModernControls&) = delete;
  ~ModernControls() {
    if (active_) ::DeactivateActCtx(0, cookie_);
    if (context_ != INVALID_HANDLE_VALUE) ::ReleaseActCtx(context_);
  }

 private:
  HANDLE context_ = INVALID_HANDLE_VALUE;
  ULONG_PTR cookie_ = 0;
  bool active_ = false;
};

/// A service has windows that nobody sees: a dialog there would wait for ever.
bool IsSeenByUser() {
  USEROBJECTFLAGS flags{};
  return ::GetUserObjectInformationW(::GetProcessWindowStation(), UOI_FLAGS, &flags, sizeof flags,
                                     nullptr) &&
         (flags.dwFlags & WSF_VISIBLE) != 0;
}

}  // namespace

VciChoice ShowDeviceExplorer() {
  if (!IsSeenByUser()) return {};
  const HWND owner = ::GetActiveWindow();
  const SharpWindows sharp;
  const ModernControls controls;
  return ExplorerDialog(ReadExplorerLanguage()).Show(owner);
}

}  // namespace passbridge
