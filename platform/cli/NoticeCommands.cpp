// "tarnctl notice": the pop-up notices on the desktop. They are found as windows of the X server, so that it makes no
// difference which host shows them.
#include "cli/Command.h"
#include "cli/Output.h"
#include <QDeadlineTimer>
#include <QScopedPointer>
#include <QThread>
#include <QVector>
#include <csignal>
#include <cstring>
#include <unistd.h>
#include <xcb/xcb.h>

namespace tarn::cli {

namespace {

constexpr int FocusMs = 2000; // until a window manager that moves no focus is reported
constexpr int LookMs = 10;
constexpr unsigned ServerSeconds = 5; // until an X server that does not answer is reported
constexpr uint32_t MaxPropertyWords = 16384;
constexpr uint32_t SourcePager = 2; // of _NET_ACTIVE_WINDOW: asked by the user, so that no window manager refuses
constexpr const char *NoticeRoles[] = {"NotifyWnd", "MissingHubNotice"};

template <typename Reply>
using Owned = QScopedPointer<Reply, QScopedPointerPodDeleter>;

/// A connection to the X server of DISPLAY. A window that has been destroyed meanwhile has no properties and no children.
class Desktop
{
public:
    Desktop()
        : m_connection(xcb_connect(nullptr, &m_screen))
    {
        if (xcb_connection_has_error(m_connection) != 0)
            return; // also without a screen of that number
        auto screens = xcb_setup_roots_iterator(xcb_get_setup(m_connection));
        for (int i = 0; i < m_screen; ++i)
            xcb_screen_next(&screens);
        m_root = screens.data->root;
    }
    ~Desktop() { xcb_disconnect(m_connection); }
    Q_DISABLE_COPY(Desktop)

    bool isValid() const { return xcb_connection_has_error(m_connection) == 0; }

    /// The window of the newest notice that is shown; 0 without one.
    xcb_window_t newestNotice() const
    {
        if (!isManaged())
            return uppermostNotice(m_root);
        const auto windows = numbers(m_root, "_NET_CLIENT_LIST"); // in the order in which they were first shown
        const auto newest =
            std::find_if(windows.crbegin(), windows.crend(), [this](auto each) { return isNotice(each); });
        return newest == windows.crend() ? 0 : *newest;
    }

    bool hasFocus(xcb_window_t window) const
    {
        if (isManaged())
            return numbers(m_root, "_NET_ACTIVE_WINDOW").value(0) == window;
        const Owned<xcb_get_input_focus_reply_t> focus(
            xcb_get_input_focus_reply(m_connection, xcb_get_input_focus(m_connection), nullptr));
        return focus && focus->focus == window;
    }

    void requestFocus(xcb_window_t window) const
    {
        if (isManaged()) {
            xcb_client_message_event_t message = {};
            message.response_type = XCB_CLIENT_MESSAGE;
            message.format = 32;
            message.window = window;
            message.type = atom("_NET_ACTIVE_WINDOW");
            message.data.data32[0] = SourcePager;
            message.data.data32[1] = XCB_CURRENT_TIME;
            xcb_send_event(m_connection, 0, m_root,
                           XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                           reinterpret_cast<const char *>(&message));
        } else {
            const uint32_t above = XCB_STACK_MODE_ABOVE;
            xcb_configure_window(m_connection, window, XCB_CONFIG_WINDOW_STACK_MODE, &above);
            xcb_set_input_focus(m_connection, XCB_INPUT_FOCUS_POINTER_ROOT, window, XCB_CURRENT_TIME);
        }
        xcb_flush(m_connection);
    }

private:
    xcb_atom_t atom(const char *name) const
    {
        const auto cookie = xcb_intern_atom(m_connection, 0, static_cast<uint16_t>(std::strlen(name)), name);
        const Owned<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(m_connection, cookie, nullptr));
        return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
    }

    QByteArray property(xcb_window_t window, const char *name) const
    {
        const auto cookie = xcb_get_property(m_connection, 0, window, atom(name), XCB_ATOM_ANY, 0, MaxPropertyWords);
        const Owned<xcb_get_property_reply_t> reply(xcb_get_property_reply(m_connection, cookie, nullptr));
        return reply ? QByteArray(static_cast<const char *>(xcb_get_property_value(reply.data())),
                                  xcb_get_property_value_length(reply.data()))
                     : QByteArray();
    }

    /// A property that is a list of windows or atoms.
    QVector<uint32_t> numbers(xcb_window_t window, const char *name) const
    {
        const QByteArray bytes = property(window, name);
        QVector<uint32_t> list(bytes.size() / static_cast<int>(sizeof(uint32_t)));
        std::memcpy(list.data(), bytes.constData(), static_cast<size_t>(list.size()) * sizeof(uint32_t));
        return list;
    }

    bool isNotice(xcb_window_t window) const
    {
        const QByteArray role = property(window, "WM_WINDOW_ROLE");
        return std::find(std::begin(NoticeRoles), std::end(NoticeRoles), role) != std::end(NoticeRoles);
    }

    /// Whether a window manager runs that moves the focus on request.
    bool isManaged() const
    {
        // A window manager that has ended leaves the properties of the root window behind, but not its own window.
        const auto manager = numbers(m_root, "_NET_SUPPORTING_WM_CHECK");
        return !manager.isEmpty() && numbers(manager.constFirst(), "_NET_SUPPORTING_WM_CHECK") == manager &&
               numbers(m_root, "_NET_SUPPORTED").contains(atom("_NET_ACTIVE_WINDOW"));
    }

    xcb_window_t uppermostNotice(xcb_window_t parent) const
    {
        const Owned<xcb_query_tree_reply_t> tree(
            xcb_query_tree_reply(m_connection, xcb_query_tree(m_connection, parent), nullptr));
        for (int i = tree ? xcb_query_tree_children_length(tree.data()) - 1 : -1; i >= 0; --i) {
            const xcb_window_t window = xcb_query_tree_children(tree.data())[i];
            const Owned<xcb_get_window_attributes_reply_t> attributes(xcb_get_window_attributes_reply(
                m_connection, xcb_get_window_attributes(m_connection, window), nullptr));
            if (!attributes || attributes->map_state != XCB_MAP_STATE_VIEWABLE)
                continue;
            if (isNotice(window))
                return window;
            if (const xcb_window_t found = uppermostNotice(window)) // inside of a frame
                return found;
        }
        return 0;
    }

    int m_screen = 0; // in DISPLAY; initialized before the connection
    xcb_connection_t *const m_connection;
    xcb_window_t m_root = 0;
};

void onSilence(int)
{
    constexpr char Text[] = "tarnctl: the X server does not answer\n";
    const ssize_t written = ::write(STDERR_FILENO, Text, sizeof Text - 1);
    static_cast<void>(written);
    ::_exit(status::NoTransport);
}

int runFocus(const Line &)
{
    std::signal(SIGALRM, onSilence); // xcb waits for the server without a limit
    ::alarm(ServerSeconds);
    const Desktop desktop;
    const QDeadlineTimer deadline(FocusMs);
    xcb_window_t asked = 0;
    while (desktop.isValid()) {
        // Looked up again in each turn: the notice may be closed meanwhile, or a newer one appear.
        const xcb_window_t notice = desktop.newestNotice();
        if (notice != 0 && desktop.hasFocus(notice))
            return status::Ok;
        if (desktop.isValid() && (notice == 0 || deadline.hasExpired()))
            throw Failure{status::Refused,
                          notice == 0 ? QStringLiteral("no notice is shown")
                                      : QStringLiteral("the window manager does not give the focus to the notice")};
        if (notice != asked)
            desktop.requestFocus(notice);
        asked = notice;
        QThread::msleep(LookMs);
    }
    throw Failure{status::NoTransport,
                  QStringLiteral("the X display \"%1\" (environment variable DISPLAY) cannot be used")
                      .arg(qEnvironmentVariable("DISPLAY"))};
}

} // namespace

QList<Command> noticeCommands()
{
    return {Command(
        "notice focus", "gives the keyboard focus to the newest notice",
        "Gives the keyboard focus to the newest pop-up notice, for a keyboard shortcut of the desktop.\n"
        "Exit code: 0 when the notice has the focus, 1 when no notice is shown or the window manager refuses, 3 "
        "without a display.",
        {}, {}, runFocus)};
}

} // namespace tarn::cli
