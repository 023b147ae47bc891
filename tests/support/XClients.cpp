#include "support/XClients.h"

#include "support/XReply.h"

#include <QByteArray>

#include <xcb/xcb.h>

namespace {

constexpr int TreeDepth = 4; // root, frame, the frame's inner window, client

class Display final
{
public:
    Display()
        : m_connection(xcb_connect(nullptr, nullptr))
    {
        if (!xcb_connection_has_error(m_connection))
            m_screen = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data;
    }
    ~Display() { xcb_disconnect(m_connection); }
    Q_DISABLE_COPY(Display)

    bool isValid() const { return m_screen != nullptr; }
    xcb_connection_t *get() const { return m_connection; }
    xcb_window_t root() const { return m_screen->root; }
    QRect screenRect() const { return {0, 0, m_screen->width_in_pixels, m_screen->height_in_pixels}; }

    xcb_atom_t atom(const QByteArray &name) const
    {
        const auto cookie = xcb_intern_atom(m_connection, 0, static_cast<uint16_t>(name.size()), name.constData());
        const XReply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(m_connection, cookie, nullptr));
        return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
    }

    QByteArray property(xcb_window_t window, const QByteArray &name) const
    {
        const auto cookie = xcb_get_property(m_connection, 0, window, atom(name), XCB_ATOM_ANY, 0, 1024);
        const XReply<xcb_get_property_reply_t> reply(xcb_get_property_reply(m_connection, cookie, nullptr));
        if (!reply)
            return {};
        return {static_cast<const char *>(xcb_get_property_value(reply.get())),
                xcb_get_property_value_length(reply.get())};
    }

    QVector<xcb_window_t> children(xcb_window_t window) const
    {
        const XReply<xcb_query_tree_reply_t> tree(
            xcb_query_tree_reply(m_connection, xcb_query_tree(m_connection, window), nullptr));
        QVector<xcb_window_t> found;
        for (int i = 0; tree && i < tree->children_len; ++i)
            found.append(xcb_query_tree_children(tree.get())[i]);
        return found;
    }

    xcb_window_t parent(xcb_window_t window) const
    {
        const XReply<xcb_query_tree_reply_t> tree(
            xcb_query_tree_reply(m_connection, xcb_query_tree(m_connection, window), nullptr));
        return tree ? tree->parent : xcb_window_t{XCB_WINDOW_NONE};
    }

private:
    xcb_connection_t *m_connection = nullptr;
    const xcb_screen_t *m_screen = nullptr;
};

quint32 firstNumber(const QByteArray &value)
{
    return value.size() < 4 ? 0 : *reinterpret_cast<const quint32 *>(value.constData());
}

void readPlace(const Display &display, XClient *client)
{
    const XReply<xcb_get_geometry_reply_t> geometry(
        xcb_get_geometry_reply(display.get(), xcb_get_geometry(display.get(), client->id), nullptr));
    const XReply<xcb_translate_coordinates_reply_t> origin(xcb_translate_coordinates_reply(
        display.get(), xcb_translate_coordinates(display.get(), client->id, display.root(), 0, 0), nullptr));
    const XReply<xcb_get_window_attributes_reply_t> attributes(
        xcb_get_window_attributes_reply(display.get(), xcb_get_window_attributes(display.get(), client->id), nullptr));
    if (geometry && origin)
        client->geometry = QRect(origin->dst_x, origin->dst_y, geometry->width, geometry->height);
    client->viewable = attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE;
}

XClient describe(const Display &display, xcb_window_t window)
{
    XClient client;
    client.role = QString::fromUtf8(display.property(window, "WM_WINDOW_ROLE"));
    if (client.role.isEmpty())
        return client;
    client.id = window;
    client.title = QString::fromUtf8(display.property(window, "_NET_WM_NAME"));
    const QList<QByteArray> wmClass = display.property(window, "WM_CLASS").split('\0');
    client.instance = QString::fromUtf8(wmClass.value(0));
    client.className = QString::fromUtf8(wmClass.value(1));
    client.pid = firstNumber(display.property(window, "_NET_WM_PID"));
    readPlace(display, &client);
    return client;
}

void collect(const Display &display, xcb_window_t window, int depth, QVector<XClient> *found)
{
    for (const xcb_window_t child : display.children(window)) {
        const XClient client = describe(display, child);
        if (!client.isNull())
            found->append(client);
        else if (depth > 1)
            collect(display, child, depth - 1, found);
    }
}

} // namespace

QVector<XClient> xclients::all()
{
    const Display display;
    QVector<XClient> found;
    if (display.isValid())
        collect(display, display.root(), TreeDepth, &found);
    return found;
}

XClient xclients::byRole(const QString &role, quint32 notThis)
{
    for (const XClient &client : all()) {
        if (client.role == role && client.viewable && client.id != notThis)
            return client;
    }
    return {};
}

XClient xclients::focused()
{
    const Display display;
    if (!display.isValid())
        return {};
    const XReply<xcb_get_input_focus_reply_t> focus(
        xcb_get_input_focus_reply(display.get(), xcb_get_input_focus(display.get()), nullptr));
    xcb_window_t window = focus ? focus->focus : xcb_window_t{XCB_WINDOW_NONE};
    for (int i = 0; i < TreeDepth && window > XCB_INPUT_FOCUS_POINTER_ROOT && window != display.root(); ++i) {
        const XClient client = describe(display, window);
        if (!client.isNull())
            return client;
        window = display.parent(window);
    }
    return {};
}

QRect xclients::workArea()
{
    const Display display;
    if (!display.isValid())
        return {};
    const QByteArray area = display.property(display.root(), "_NET_WORKAREA");
    if (area.size() < 16)
        return display.screenRect();
    const auto *numbers = reinterpret_cast<const qint32 *>(area.constData());
    return {numbers[0], numbers[1], numbers[2], numbers[3]};
}

void xclients::requestClose(quint32 id)
{
    const Display display;
    if (!display.isValid())
        return;
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = id;
    event.type = display.atom("WM_PROTOCOLS");
    event.data.data32[0] = display.atom("WM_DELETE_WINDOW");
    xcb_send_event(display.get(), 0, id, XCB_EVENT_MASK_NO_EVENT, reinterpret_cast<const char *>(&event));
    const XReply<xcb_get_input_focus_reply_t> sent(
        xcb_get_input_focus_reply(display.get(), xcb_get_input_focus(display.get()), nullptr));
}
