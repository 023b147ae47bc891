#include "winshot/Screenshot.h"

#include "support/XReply.h"

#include <QDir>
#include <QFileInfo>
#include <QRect>

#include <xcb/xcb.h>

namespace {

using Connection = std::unique_ptr<xcb_connection_t, decltype(&xcb_disconnect)>;

Connection connectDisplay()
{
    return {xcb_connect(nullptr, nullptr), &xcb_disconnect};
}

const xcb_screen_t *firstScreen(const Connection &connection)
{
    return xcb_connection_has_error(connection.get()) ? nullptr
                                                      : xcb_setup_roots_iterator(xcb_get_setup(connection.get())).data;
}

QRect rootRect(const xcb_screen_t &screen)
{
    return {0, 0, screen.width_in_pixels, screen.height_in_pixels};
}

QImage grab(const Connection &connection, const xcb_screen_t &screen, const QRect &area)
{
    if (area.isEmpty())
        return {};
    const auto cookie = xcb_get_image(connection.get(), XCB_IMAGE_FORMAT_Z_PIXMAP, screen.root,
                                      static_cast<int16_t>(area.x()), static_cast<int16_t>(area.y()),
                                      static_cast<uint16_t>(area.width()), static_cast<uint16_t>(area.height()), ~0U);
    const XReply<xcb_get_image_reply_t> reply(xcb_get_image_reply(connection.get(), cookie, nullptr));
    if (!reply || xcb_get_image_data_length(reply.get()) < area.width() * area.height() * 4)
        return {};
    return QImage(xcb_get_image_data(reply.get()), area.width(), area.height(), QImage::Format_RGB32).copy();
}

} // namespace

QImage screenshot::window(quint32 id)
{
    const Connection connection = connectDisplay();
    const xcb_screen_t *screen = firstScreen(connection);
    if (!screen)
        return {};
    const XReply<xcb_get_geometry_reply_t> geometry(
        xcb_get_geometry_reply(connection.get(), xcb_get_geometry(connection.get(), id), nullptr));
    const XReply<xcb_translate_coordinates_reply_t> origin(xcb_translate_coordinates_reply(
        connection.get(), xcb_translate_coordinates(connection.get(), id, screen->root, 0, 0), nullptr));
    if (!geometry || !origin)
        return {};
    const QRect area(origin->dst_x, origin->dst_y, geometry->width, geometry->height);
    return grab(connection, *screen, area & rootRect(*screen));
}

bool screenshot::save(const QImage &image, const QString &path)
{
    return !image.isNull() && QDir().mkpath(QFileInfo(path).absolutePath()) && image.save(path, "PNG");
}
