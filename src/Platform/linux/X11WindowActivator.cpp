#include "Platform/linux/X11WindowActivator.h"

#include <xcb/xcb.h>
#include <xcb/xtest.h>

#include <QByteArray>
#include <QString>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

namespace {

constexpr xcb_keysym_t keysymR = 0x0072;
constexpr xcb_keysym_t keysymControlL = 0xffe3;

template <typename T>
using Reply = std::unique_ptr<T, decltype(&std::free)>;

template <typename T>
Reply<T> reply(T* value)
{
    return Reply<T>(value, &std::free);
}

class Connection
{
public:
    Connection() : connection(xcb_connect(nullptr, &screenNumber)) {}
    ~Connection() { xcb_disconnect(connection); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    bool isValid() const { return connection && !xcb_connection_has_error(connection); }
    xcb_connection_t* get() const { return connection; }

    xcb_window_t root() const
    {
        xcb_screen_iterator_t it = xcb_setup_roots_iterator(xcb_get_setup(connection));
        for (int i = 0; i < screenNumber && it.rem; ++i) {
            xcb_screen_next(&it);
        }
        return it.data ? it.data->root : xcb_window_t(XCB_WINDOW_NONE);
    }

    xcb_atom_t atom(const char* name) const
    {
        auto answer = reply(xcb_intern_atom_reply(
            connection, xcb_intern_atom(connection, 1, static_cast<uint16_t>(strlen(name)), name),
            nullptr));
        return answer ? answer->atom : xcb_atom_t(XCB_ATOM_NONE);
    }

    // The values of a property of 32-bit items (windows, cardinals).
    std::vector<uint32_t> cardinals(xcb_window_t window, xcb_atom_t property, xcb_atom_t type) const
    {
        std::vector<uint32_t> values;
        if (property == XCB_ATOM_NONE) {
            return values;
        }
        auto answer = reply(xcb_get_property_reply(
            connection, xcb_get_property(connection, 0, window, property, type, 0, 4096), nullptr));
        if (!answer || answer->format != 32) {
            return values;
        }
        const auto* data = static_cast<const uint32_t*>(xcb_get_property_value(answer.get()));
        const int count = xcb_get_property_value_length(answer.get()) / 4;
        values.assign(data, data + count);
        return values;
    }

    // WM_CLASS: instance and class name.
    QStringList windowClass(xcb_window_t window) const
    {
        auto answer = reply(xcb_get_property_reply(
            connection,
            xcb_get_property(connection, 0, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 0, 256),
            nullptr));
        if (!answer || answer->format != 8) {
            return {};
        }
        const QByteArray bytes(static_cast<const char*>(xcb_get_property_value(answer.get())),
                               xcb_get_property_value_length(answer.get()));
        QStringList names;
        for (const QByteArray& part : bytes.split('\0')) {
            if (!part.isEmpty()) {
                names.append(QString::fromLocal8Bit(part));
            }
        }
        return names;
    }

    // The window's title: _NET_WM_NAME (UTF-8), else WM_NAME.
    QString title(xcb_window_t window, xcb_atom_t netWmName, xcb_atom_t utf8String) const
    {
        if (netWmName != XCB_ATOM_NONE && utf8String != XCB_ATOM_NONE) {
            const QByteArray name = text(window, netWmName, utf8String);
            if (!name.isEmpty()) {
                return QString::fromUtf8(name);
            }
        }
        return QString::fromLocal8Bit(text(window, XCB_ATOM_WM_NAME, XCB_ATOM_STRING));
    }

    std::vector<xcb_window_t> children(xcb_window_t window) const
    {
        std::vector<xcb_window_t> result;
        auto answer =
            reply(xcb_query_tree_reply(connection, xcb_query_tree(connection, window), nullptr));
        if (answer) {
            const xcb_window_t* data = xcb_query_tree_children(answer.get());
            result.assign(data, data + xcb_query_tree_children_length(answer.get()));
        }
        return result;
    }

    // Waits until the server has handled every request sent so far.
    void sync() const
    {
        auto answer =
            reply(xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr));
    }

private:
    QByteArray text(xcb_window_t window, xcb_atom_t property, xcb_atom_t type) const
    {
        auto answer = reply(xcb_get_property_reply(
            connection, xcb_get_property(connection, 0, window, property, type, 0, 1024), nullptr));
        if (!answer || answer->format != 8) {
            return QByteArray();
        }
        return QByteArray(static_cast<const char*>(xcb_get_property_value(answer.get())),
                          xcb_get_property_value_length(answer.get()));
    }

    int screenNumber = 0;
    xcb_connection_t* connection;
};

bool classMatches(const QStringList& windowClass, const QStringList& classNames)
{
    for (const QString& name : windowClass) {
        if (classNames.contains(name, Qt::CaseInsensitive)) {
            return true;
        }
    }
    return false;
}

std::optional<xcb_keycode_t> keycodeFor(const Connection& x, xcb_keysym_t keysym)
{
    const xcb_setup_t* setup = xcb_get_setup(x.get());
    const xcb_keycode_t first = setup->min_keycode;
    const int count = setup->max_keycode - setup->min_keycode + 1;
    auto mapping = reply(xcb_get_keyboard_mapping_reply(
        x.get(), xcb_get_keyboard_mapping(x.get(), first, static_cast<uint8_t>(count)), nullptr));
    if (!mapping || mapping->keysyms_per_keycode == 0) {
        return std::nullopt;
    }
    const xcb_keysym_t* keysyms = xcb_get_keyboard_mapping_keysyms(mapping.get());
    const int total = xcb_get_keyboard_mapping_keysyms_length(mapping.get());
    for (int i = 0; i < total; ++i) {
        if (keysyms[i] == keysym) {
            return static_cast<xcb_keycode_t>(first + i / mapping->keysyms_per_keycode);
        }
    }
    return std::nullopt;
}

} // namespace

bool X11WindowActivator::activate(const QList<qint64>& pids, const QStringList& classNames,
                                  const QString& title)
{
    const Connection x;
    if (!x.isValid()) {
        return false;
    }
    const xcb_window_t root = x.root();
    const xcb_atom_t clientList = x.atom("_NET_CLIENT_LIST");
    const xcb_atom_t wmPid = x.atom("_NET_WM_PID");
    const xcb_atom_t activeWindow = x.atom("_NET_ACTIVE_WINDOW");
    const xcb_atom_t wmCheck = x.atom("_NET_SUPPORTING_WM_CHECK");

    const xcb_atom_t netWmName = x.atom("_NET_WM_NAME");
    const xcb_atom_t utf8String = x.atom("UTF8_STRING");
    const bool managed = !x.cardinals(root, wmCheck, XCB_ATOM_WINDOW).empty();

    // The candidates, newest first. A window manager lists its clients, oldest first; without
    // one the top-level windows are the root's children, bottom first.
    const auto candidates = [&] {
        std::vector<xcb_window_t> windows = x.cardinals(root, clientList, XCB_ATOM_WINDOW);
        if (windows.empty()) {
            windows = x.children(root);
        }
        std::vector<xcb_window_t> matching;
        for (auto it = windows.crbegin(); it != windows.crend(); ++it) {
            const std::vector<uint32_t> owner = x.cardinals(*it, wmPid, XCB_ATOM_CARDINAL);
            if ((!owner.empty() && pids.contains(static_cast<qint64>(owner.front()))) ||
                classMatches(x.windowClass(*it), classNames)) {
                matching.push_back(*it);
            }
        }
        return matching;
    };

    std::vector<xcb_window_t> windows = candidates();
    xcb_window_t target = XCB_WINDOW_NONE;
    if (!title.isEmpty()) {
        constexpr int attempts = 20;
        for (int attempt = 0; attempt < attempts && target == XCB_WINDOW_NONE; ++attempt) {
            for (const xcb_window_t window : windows) {
                if (x.title(window, netWmName, utf8String).startsWith(title)) {
                    target = window;
                    break;
                }
            }
            if (target == XCB_WINDOW_NONE && attempt + 1 < attempts) {
                std::this_thread::sleep_for(std::chrono::milliseconds(50));
                windows = candidates();
            }
        }
    }
    if (target == XCB_WINDOW_NONE && !windows.empty()) {
        target = windows.front();
    }
    if (target == XCB_WINDOW_NONE) {
        return false;
    }

    // Source indication 2: a pager acting for the user, which window managers obey.
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = target;
    message.type = activeWindow;
    message.data.data32[0] = 2;
    message.data.data32[1] = XCB_CURRENT_TIME;
    xcb_send_event(x.get(), 0, root,
                   XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                   reinterpret_cast<const char*>(&message));

    if (!managed) {
        const uint32_t above = XCB_STACK_MODE_ABOVE;
        xcb_map_window(x.get(), target);
        xcb_configure_window(x.get(), target, XCB_CONFIG_WINDOW_STACK_MODE, &above);
        xcb_set_input_focus(x.get(), XCB_INPUT_FOCUS_PARENT, target, XCB_CURRENT_TIME);
    }
    x.sync();
    return true;
}

QStringList X11WindowActivator::titlesFrontToBack(const QList<qint64>& pids,
                                                  const QStringList& classNames)
{
    const Connection x;
    if (!x.isValid()) {
        return {};
    }
    const xcb_window_t root = x.root();
    const xcb_atom_t wmPid = x.atom("_NET_WM_PID");
    const xcb_atom_t netWmName = x.atom("_NET_WM_NAME");
    const xcb_atom_t utf8String = x.atom("UTF8_STRING");
    // Both lists go from the bottom of the stack to the top.
    std::vector<xcb_window_t> windows =
        x.cardinals(root, x.atom("_NET_CLIENT_LIST_STACKING"), XCB_ATOM_WINDOW);
    if (windows.empty()) {
        windows = x.children(root);
    }
    QStringList titles;
    for (auto it = windows.crbegin(); it != windows.crend(); ++it) {
        const std::vector<uint32_t> owner = x.cardinals(*it, wmPid, XCB_ATOM_CARDINAL);
        if ((!owner.empty() && pids.contains(static_cast<qint64>(owner.front()))) ||
            classMatches(x.windowClass(*it), classNames)) {
            titles.append(x.title(*it, netWmName, utf8String));
        }
    }
    return titles;
}

bool X11WindowActivator::sendReloadKeystroke()
{
    const Connection x;
    if (!x.isValid()) {
        return false;
    }
    const xcb_query_extension_reply_t* extension = xcb_get_extension_data(x.get(), &xcb_test_id);
    if (!extension || !extension->present) {
        return false;
    }
    const std::optional<xcb_keycode_t> control = keycodeFor(x, keysymControlL);
    const std::optional<xcb_keycode_t> r = keycodeFor(x, keysymR);
    if (!control || !r) {
        return false;
    }
    const xcb_window_t root = x.root();
    xcb_test_fake_input(x.get(), XCB_KEY_PRESS, *control, XCB_CURRENT_TIME, root, 0, 0, 0);
    xcb_test_fake_input(x.get(), XCB_KEY_PRESS, *r, XCB_CURRENT_TIME, root, 0, 0, 0);
    xcb_test_fake_input(x.get(), XCB_KEY_RELEASE, *r, XCB_CURRENT_TIME, root, 0, 0, 0);
    xcb_test_fake_input(x.get(), XCB_KEY_RELEASE, *control, XCB_CURRENT_TIME, root, 0, 0, 0);
    x.sync();
    return true;
}
