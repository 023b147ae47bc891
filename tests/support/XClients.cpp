#include "support/XClients.h"

#include "support/XReply.h"

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

QRect XServer::place(xcb_window_t window) const
{
    const XReply<xcb_get_geometry_reply_t> size(
        xcb_get_geometry_reply(m_connection, xcb_get_geometry(m_connection, window), nullptr));
    const XReply<xcb_translate_coordinates_reply_t> origin(xcb_translate_coordinates_reply(
        m_connection, xcb_translate_coordinates(m_connection, window, root(), 0, 0), nullptr));
    return size && origin ? QRect(origin->dst_x, origin->dst_y, size->width, size->height) : QRect();
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
