#include "support/XClients.h"

#include "support/XReply.h"

namespace {

constexpr int TreeDepth = 4; // root, frame, the frame's inner window, client

bool isViewable(const XServer &server, xcb_window_t window)
{
    const XReply<xcb_get_window_attributes_reply_t> attributes(xcb_get_window_attributes_reply(
        server.connection(), xcb_get_window_attributes(server.connection(), window), nullptr));
    return attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE;
}

QRect placeOf(const XServer &server, xcb_window_t window)
{
    xcb_connection_t *connection = server.connection();
    const XReply<xcb_get_geometry_reply_t> geometry(
        xcb_get_geometry_reply(connection, xcb_get_geometry(connection, window), nullptr));
    const XReply<xcb_translate_coordinates_reply_t> origin(xcb_translate_coordinates_reply(
        connection, xcb_translate_coordinates(connection, window, server.root(), 0, 0), nullptr));
    return geometry && origin ? QRect(origin->dst_x, origin->dst_y, geometry->width, geometry->height) : QRect();
}

XClient find(const XServer &server, xcb_window_t below, int depth, const QString &role)
{
    for (const xcb_window_t child : server.children(below)) {
        const QString found = QString::fromUtf8(server.property(child, "WM_WINDOW_ROLE"));
        if (found == role && isViewable(server, child))
            return {child, role, placeOf(server, child)};
        const XClient client = found.isEmpty() && depth > 1 ? find(server, child, depth - 1, role) : XClient();
        if (!client.isNull())
            return client;
    }
    return {};
}

} // namespace

XServer::XServer()
    : m_connection(xcb_connect(nullptr, nullptr))
{
    if (!xcb_connection_has_error(m_connection))
        m_screen = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data;
}

xcb_atom_t XServer::atom(const QByteArray &name) const
{
    const auto cookie = xcb_intern_atom(m_connection, 0, static_cast<uint16_t>(name.size()), name.constData());
    const XReply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(m_connection, cookie, nullptr));
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

QByteArray XServer::property(xcb_window_t window, const QByteArray &name) const
{
    const auto cookie = xcb_get_property(m_connection, 0, window, atom(name), XCB_ATOM_ANY, 0, 1024);
    const XReply<xcb_get_property_reply_t> reply(xcb_get_property_reply(m_connection, cookie, nullptr));
    if (!reply)
        return {};
    return {static_cast<const char *>(xcb_get_property_value(reply.get())), xcb_get_property_value_length(reply.get())};
}

QVector<xcb_window_t> XServer::children(xcb_window_t window) const
{
    const XReply<xcb_query_tree_reply_t> tree(
        xcb_query_tree_reply(m_connection, xcb_query_tree(m_connection, window), nullptr));
    if (!tree)
        return {};
    const xcb_window_t *first = xcb_query_tree_children(tree.get());
    return QVector<xcb_window_t>(first, first + tree->children_len);
}

xcb_window_t XServer::focus() const
{
    const XReply<xcb_get_input_focus_reply_t> focus(
        xcb_get_input_focus_reply(m_connection, xcb_get_input_focus(m_connection), nullptr));
    return focus ? focus->focus : xcb_window_t{XCB_WINDOW_NONE};
}

xcb_window_t XServer::open(const QRect &where, bool managed, xcb_window_t parent) const
{
    const xcb_window_t id = xcb_generate_id(m_connection);
    const uint32_t values[] = {m_screen->white_pixel, managed ? 0U : 1U, XCB_EVENT_MASK_KEY_PRESS};
    xcb_create_window(m_connection, XCB_COPY_FROM_PARENT, id, parent ? parent : root(), int16_t(where.x()),
                      int16_t(where.y()), uint16_t(where.width()), uint16_t(where.height()), 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT,
                      XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK, values);
    xcb_map_window(m_connection, id);
    focus();
    return id;
}

void XServer::destroy(xcb_window_t window) const
{
    xcb_destroy_window(m_connection, window);
    focus();
}

XClient xclients::byRole(const QString &role)
{
    const XServer server;
    return server.isValid() ? find(server, server.root(), TreeDepth, role) : XClient();
}

void xclients::requestClose(quint32 id)
{
    const XServer server;
    if (!server.isValid())
        return;
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = id;
    event.type = server.atom("WM_PROTOCOLS");
    event.data.data32[0] = server.atom("WM_DELETE_WINDOW");
    xcb_send_event(server.connection(), 0, id, XCB_EVENT_MASK_NO_EVENT, reinterpret_cast<const char *>(&event));
    server.focus();
}
