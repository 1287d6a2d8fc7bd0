#pragma once

#include <QPointer>
#include <QWidget>

#include <memory>
#include <utility>

namespace PluginOmbrel {

// False without an application object that can show windows.
bool canShowWindows();

// Whether a settings window and its filter still exist. A modal window processes events, so check this after
// each one: the host may have ended either meanwhile.
class StillThere {
public:
    StillThere(QWidget* settingsWindow, std::weak_ptr<const void> lifeOfFilter)
        : window(settingsWindow), filter(std::move(lifeOfFilter)) {}

    explicit operator bool() const { return window && !filter.expired(); }

private:
    QPointer<QWidget> window;
    std::weak_ptr<const void> filter;
};

// A modal window whose parent may end meanwhile and delete it: on the stack it would be freed twice.
template <typename Window>
class ModalWindow {
public:
    template <typename... Arguments>
    explicit ModalWindow(Arguments&&... arguments)
        : window(std::make_unique<Window>(std::forward<Arguments>(arguments)...).release()) {}
    ~ModalWindow() { std::unique_ptr<Window>{window.data()}.reset(); }
    ModalWindow(const ModalWindow&) = delete;
    ModalWindow& operator=(const ModalWindow&) = delete;

    Window* operator->() const { return window; }
    // True when the user accepted it and it still exists.
    bool exec() { return window->exec() == Window::Accepted && window; }

private:
    QPointer<Window> window;
};

} // namespace PluginOmbrel
