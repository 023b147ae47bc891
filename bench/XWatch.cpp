#include "XWatch.h"

#include "support/XReply.h"

#include <chrono>
#include <ctime>

#include <xcb/damage.h>

namespace {

void roundTrip(xcb_connection_t *connection)
{
    std::free(xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr));
}

std::string classOf(xcb_connection_t *connection, xcb_window_t window, int depth)
{
    const auto cookie = xcb_get_property(connection, 0, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 0, 64);
    const XReply<xcb_get_property_reply_t> property(xcb_get_property_reply(connection, cookie, nullptr));
    if (property && xcb_get_property_value_length(property.get()) > 0) {
        std::string text(static_cast<const char *>(xcb_get_property_value(property.get())),
                         static_cast<size_t>(xcb_get_property_value_length(property.get())));
        while (!text.empty() && text.back() == '\0')
            text.pop_back();
        for (char &letter : text)
            letter = letter == '\0' ? '.' : letter;
        return text;
    }
    std::string found;
    const XReply<xcb_query_tree_reply_t> tree(
        xcb_query_tree_reply(connection, xcb_query_tree(connection, window), nullptr));
    for (int i = 0; tree && depth > 0 && found.empty() && i < tree->children_len; ++i)
        found = classOf(connection, xcb_query_tree_children(tree.get())[i], depth - 1);
    return found;
}

} // namespace

int64_t nowNs()
{
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec * 1'000'000'000LL + time.tv_nsec;
}

XWatch::~XWatch()
{
    if (m_thread.joinable()) {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_stop = true;
        }
        xcb_client_message_event_t wake{}; // an event to ourselves ends the thread's wait
        wake.response_type = XCB_CLIENT_MESSAGE;
        wake.format = 32;
        wake.window = m_root;
        wake.type = XCB_ATOM_STRING;
        xcb_send_event(m_connection, 0, m_root, XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                       reinterpret_cast<const char *>(&wake));
        xcb_flush(m_connection);
        m_thread.join();
    }
    if (m_connection)
        xcb_disconnect(m_connection);
    if (m_queries)
        xcb_disconnect(m_queries);
}

bool XWatch::start()
{
    m_connection = xcb_connect(nullptr, nullptr);
    m_queries = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(m_connection) || xcb_connection_has_error(m_queries))
        return false;
    m_root = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root;
    const xcb_query_extension_reply_t *damage = xcb_get_extension_data(m_connection, &xcb_damage_id);
    if (damage && damage->present) {
        m_damageEvent = damage->first_event + XCB_DAMAGE_NOTIFY;
        std::free(xcb_damage_query_version_reply(m_connection, xcb_damage_query_version(m_connection, 1, 1), nullptr));
    }
    const uint32_t mask = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
    xcb_change_window_attributes(m_connection, m_root, XCB_CW_EVENT_MASK, &mask);
    addExisting();
    roundTrip(m_connection);
    m_thread = std::thread(&XWatch::run, this);
    return true;
}

// A daemon may keep its pop-up as a hidden window: what exists already is watched as well.
void XWatch::addExisting()
{
    const XReply<xcb_query_tree_reply_t> tree(
        xcb_query_tree_reply(m_connection, xcb_query_tree(m_connection, m_root), nullptr));
    for (int i = 0; tree && i < tree->children_len; ++i) {
        const xcb_window_t id = xcb_query_tree_children(tree.get())[i];
        const XReply<xcb_get_geometry_reply_t> geometry(
            xcb_get_geometry_reply(m_connection, xcb_get_geometry(m_connection, id), nullptr));
        if (!geometry)
            continue;
        XWindowRecord &window = m_windows[id];
        window.id = id;
        window.x = geometry->x;
        window.y = geometry->y;
        window.width = geometry->width;
        window.height = geometry->height;
        watchDamage(id);
    }
}

void XWatch::watchDamage(xcb_window_t window)
{
    if (m_damageEvent < 0)
        return;
    xcb_damage_create(m_connection, xcb_generate_id(m_connection), window, XCB_DAMAGE_REPORT_LEVEL_RAW_RECTANGLES);
    xcb_flush(m_connection);
}

void XWatch::reset()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (auto i = m_windows.begin(); i != m_windows.end();) {
        if (i->second.destroyed) {
            i = m_windows.erase(i);
            continue;
        }
        XWindowRecord &window = i->second;
        window.created = window.mapped = window.unmapped = window.painted = window.drawnArea = 0;
        window.maps = 0;
        ++i;
    }
}

bool XWatch::waitFor(const std::function<bool(const XWindowRecord &)> &predicate, XWindowRecord *found, int timeoutMs)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(lock, std::chrono::milliseconds(timeoutMs), [&] {
        for (const auto &[id, window] : m_windows) {
            if (!predicate(window))
                continue;
            if (found)
                *found = window;
            return true;
        }
        return false;
    });
}

std::vector<XWindowRecord> XWatch::windows() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<XWindowRecord> all;
    all.reserve(m_windows.size());
    for (const auto &[id, window] : m_windows)
        all.push_back(window);
    return all;
}

std::string XWatch::windowClass(xcb_window_t window) const
{
    return classOf(m_queries, window, 2);
}

void XWatch::run()
{
    for (;;) {
        const XReply<xcb_generic_event_t> event(xcb_wait_for_event(m_connection));
        const int64_t time = nowNs();
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (!event || m_stop)
            return;
        handle(*event, time);
        m_changed.notify_all();
    }
}

XWindowRecord *XWatch::record(xcb_window_t window)
{
    const auto i = m_windows.find(window);
    return i == m_windows.end() ? nullptr : &i->second;
}

void XWatch::handle(const xcb_generic_event_t &event, int64_t time)
{
    const int type = event.response_type & 0x7f;
    if (type == m_damageEvent) {
        handleDamage(event, time);
    } else if (type == XCB_CREATE_NOTIFY) {
        const auto &create = reinterpret_cast<const xcb_create_notify_event_t &>(event);
        XWindowRecord &window = m_windows[create.window] = XWindowRecord{};
        window.id = create.window;
        window.created = time;
        window.x = create.x;
        window.y = create.y;
        window.width = create.width;
        window.height = create.height;
        window.overrideRedirect = create.override_redirect != 0;
        watchDamage(create.window);
    } else if (type == XCB_MAP_NOTIFY) {
        const auto &map = reinterpret_cast<const xcb_map_notify_event_t &>(event);
        XWindowRecord &window = m_windows[map.window];
        window.id = map.window;
        window.mapped = window.mapped ? window.mapped : time;
        window.maps++;
    } else if (type == XCB_UNMAP_NOTIFY) {
        if (auto *window = record(reinterpret_cast<const xcb_unmap_notify_event_t &>(event).window))
            window->unmapped = time;
    } else if (type == XCB_DESTROY_NOTIFY) {
        if (auto *window = record(reinterpret_cast<const xcb_destroy_notify_event_t &>(event).window))
            window->destroyed = time;
    } else if (type == XCB_CONFIGURE_NOTIFY) {
        const auto &configure = reinterpret_cast<const xcb_configure_notify_event_t &>(event);
        if (auto *window = record(configure.window)) {
            window->x = configure.x;
            window->y = configure.y;
            window->width = configure.width;
            window->height = configure.height;
        }
    }
}

void XWatch::handleDamage(const xcb_generic_event_t &event, int64_t time)
{
    const auto &damage = reinterpret_cast<const xcb_damage_notify_event_t &>(event);
    XWindowRecord *window = record(damage.drawable);
    if (!window || window->painted)
        return;
    window->drawnArea += int64_t{damage.area.width} * damage.area.height;
    const int64_t area = int64_t{window->width} * window->height;
    if (window->drawnArea > 100 && 2 * window->drawnArea >= area)
        window->painted = time;
}
