// Window classes with message maps: windows the module creates itself
// (WindowImpl), dialogs from the module's templates (DialogImpl) and windows
// created by somebody else whose messages a class wants to see first
// (SubclassImpl). The derived class supplies ProcessWindowMessage() through
// BEGIN_MSG_MAP/END_MSG_MAP and may override OnFinalMessage().
#pragma once

#include "win/window.h"

#include "com/module.h"

#include <commctrl.h>

#include <utility>
#include <vector>

namespace win {

// What every window class of the module shares: the message target behind a
// window handle. One window procedure serves every WindowImpl class.
class MessageTarget : public Window {
public:
    virtual ~MessageTarget() = default;
    virtual bool DispatchMessage(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam, LRESULT& result) = 0;
    // Called after the last message (WM_NCDESTROY); the handle is already
    // cleared. An object that owns itself may delete itself here.
    virtual void OnFinalMessage(HWND) {}
};

// A dialog template of the resources, as stored, or as a copy laid out from
// right to left. Mirroring has to be in the template: the dialog's controls
// take their layout from the dialog when they are created, which is before
// the dialog's own code runs.
class DialogTemplate {
public:
    DialogTemplate(HINSTANCE resources, UINT id, bool rightToLeft) noexcept;
    explicit operator bool() const noexcept { return m_template != nullptr; }
    const DLGTEMPLATE* get() const noexcept { return m_template; }
    HINSTANCE instance() const noexcept { return m_resources; }

private:
    HINSTANCE m_resources;
    const DLGTEMPLATE* m_template = nullptr;
    std::vector<BYTE> m_copy;
};

namespace detail {
// Registers (once per process) and returns the shared window class for the
// given class style and background; the atom is the class name to pass.
ATOM WindowClass(UINT classStyle, HBRUSH background);
LRESULT CALLBACK WindowProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam);
INT_PTR CALLBACK DialogProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam);
LRESULT CALLBACK SubclassProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam, UINT_PTR id,
                              DWORD_PTR refData);
}  // namespace detail

// Hands a message straight to the message map of a DialogImpl dialog, past
// whatever subclasses the dialog window. For callbacks of the dialog's own
// that the system makes without going through the window (a timer
// procedure): a subclass set with SetWindowSubclass cannot be taken out
// completely while one of its messages is being handled, and work that takes
// the dialog's subclasses out of the way must not run inside one.
LRESULT CallDialogMap(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam) noexcept;

// Unregisters the window classes of WindowImpl; called when the module can
// unload, since a class outliving the module would point at code that is gone.
void UnregisterWindowClasses() noexcept;

template <class Derived>
class WindowImpl : public MessageTarget {
public:
    WindowImpl() = default;
    WindowImpl(const WindowImpl&) = delete;
    WindowImpl& operator=(const WindowImpl&) = delete;
    // A window that outlives its object is destroyed without it: the
    // derived part is gone, so no message may reach the map any more.
    ~WindowImpl() override {
        if (const HWND hwnd = std::exchange(m_hWnd, nullptr)) {
            ::SetWindowLongPtrW(hwnd, GWLP_USERDATA, 0);
            ::DestroyWindow(hwnd);
        }
    }

    // Class style and background of the window class; a derived class
    // declares its own to change them.
    static UINT ClassStyle() noexcept { return CS_DBLCLKS; }
    static HBRUSH ClassBackground() noexcept { return reinterpret_cast<HBRUSH>(COLOR_WINDOW + 1); }

    HWND Create(HWND parent, const RECT& rect, const wchar_t* text, DWORD style, DWORD exStyle = 0,
                UINT_PTR idOrMenu = 0) {
        const ATOM atom = detail::WindowClass(Derived::ClassStyle(), Derived::ClassBackground());
        if (!atom) return nullptr;
        return ::CreateWindowExW(exStyle, MAKEINTATOM(atom), text, style, rect.left, rect.top,
                                 rect.right - rect.left, rect.bottom - rect.top, parent,
                                 reinterpret_cast<HMENU>(idOrMenu), com::Module::Instance(),
                                 static_cast<MessageTarget*>(this));
    }

    bool DispatchMessage(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam, LRESULT& result) override {
        return static_cast<Derived*>(this)->ProcessWindowMessage(hwnd, message, wParam, lParam, result);
    }

    LRESULT DefWindowProc(UINT message, WPARAM wParam, LPARAM lParam) const noexcept {
        return ::DefWindowProcW(m_hWnd, message, wParam, lParam);
    }
};

template <class Derived>
class DialogImpl : public MessageTarget {
public:
    DialogImpl() = default;
    DialogImpl(const DialogImpl&) = delete;
    DialogImpl& operator=(const DialogImpl&) = delete;
    ~DialogImpl() override {
        if (m_modal) return;
        if (const HWND hwnd = std::exchange(m_hWnd, nullptr)) {
            ::SetWindowLongPtrW(hwnd, DWLP_USER, 0);
            ::DestroyWindow(hwnd);
        }
    }

    // Runs the dialog Derived::IDD from the module's resources modally and
    // returns what EndDialog was given (-1 when it could not be created).
    INT_PTR DoModal(HWND parent = ::GetActiveWindow(), HINSTANCE resources = nullptr) {
        m_modal = true;
        const DialogTemplate dialog(resources ? resources : DefaultResources(), Derived::IDD,
                                    static_cast<const Derived*>(this)->RightToLeftLayout());
        const INT_PTR result =
            dialog ? ::DialogBoxIndirectParamW(dialog.instance(), dialog.get(), parent, &detail::DialogProc,
                                               reinterpret_cast<LPARAM>(static_cast<MessageTarget*>(this)))
                   : -1;
        m_modal = false;
        return result;
    }

    // Creates the dialog modelessly (for a dialog that is the child of
    // another window, such as a composite control).
    HWND Create(HWND parent, HINSTANCE resources = nullptr) {
        m_modal = false;
        const DialogTemplate dialog(resources ? resources : DefaultResources(), Derived::IDD,
                                    static_cast<const Derived*>(this)->RightToLeftLayout());
        return dialog ? ::CreateDialogIndirectParamW(dialog.instance(), dialog.get(), parent, &detail::DialogProc,
                                                     reinterpret_cast<LPARAM>(static_cast<MessageTarget*>(this)))
                      : nullptr;
    }

    // Whether the dialog is laid out from right to left (mirrored, with
    // every control it creates); a dialog class hides this with its own.
    bool RightToLeftLayout() const noexcept { return false; }

    bool EndDialog(INT_PTR result) const noexcept { return ::EndDialog(m_hWnd, result) != FALSE; }
    bool IsModal() const noexcept { return m_modal; }

    bool DispatchMessage(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam, LRESULT& result) override {
        return static_cast<Derived*>(this)->ProcessWindowMessage(hwnd, message, wParam, lParam, result);
    }

private:
    static HINSTANCE DefaultResources() noexcept;
    bool m_modal = false;
};

// Routes the messages of an existing window (a list view inside a dialog,
// an edit box) through the class's message map first; unhandled messages
// go on to the window's own procedure. Removed again at WM_NCDESTROY or by
// Unsubclass().
template <class Derived>
class SubclassImpl : public MessageTarget {
public:
    SubclassImpl() = default;
    SubclassImpl(const SubclassImpl&) = delete;
    SubclassImpl& operator=(const SubclassImpl&) = delete;
    ~SubclassImpl() override { Unsubclass(); }

    bool Subclass(HWND hwnd) noexcept {
        if (m_hWnd || !hwnd) return false;
        if (!::SetWindowSubclass(hwnd, &detail::SubclassProc, reinterpret_cast<UINT_PTR>(this),
                                 reinterpret_cast<DWORD_PTR>(static_cast<MessageTarget*>(this))))
            return false;
        m_hWnd = hwnd;
        return true;
    }
    void Unsubclass() noexcept {
        if (!m_hWnd) return;
        ::RemoveWindowSubclass(m_hWnd, &detail::SubclassProc, reinterpret_cast<UINT_PTR>(this));
        m_hWnd = nullptr;
    }

    // The window's own processing of a message, for handlers that want to
    // run it first and adjust the result.
    LRESULT DefWindowProc(UINT message, WPARAM wParam, LPARAM lParam) const noexcept {
        return ::DefSubclassProc(m_hWnd, message, wParam, lParam);
    }

    bool DispatchMessage(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam, LRESULT& result) override {
        return static_cast<Derived*>(this)->ProcessWindowMessage(hwnd, message, wParam, lParam, result);
    }
};

}  // namespace win

template <class Derived>
HINSTANCE win::DialogImpl<Derived>::DefaultResources() noexcept {
    return com::Module::ResourceInstance();
}
