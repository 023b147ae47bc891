#include "support/XInput.h"

#include "support/XReply.h"

#include <xcb/xcb.h>
#include <xcb/xtest.h>

XInput::XInput()
    : m_connection(xcb_connect(nullptr, nullptr))
{
    if (xcb_connection_has_error(m_connection))
        return;
    const xcb_query_extension_reply_t *extension = xcb_get_extension_data(m_connection, &xcb_test_id);
    if (extension && extension->present)
        m_root = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root;
}

XInput::~XInput()
{
    xcb_disconnect(m_connection);
}

bool XInput::isValid() const
{
    return m_root != 0;
}

void XInput::move(int x, int y)
{
    send(XCB_MOTION_NOTIFY, 0, x, y);
}

void XInput::press(int button)
{
    send(XCB_BUTTON_PRESS, static_cast<uint8_t>(button), 0, 0);
}

void XInput::release(int button)
{
    send(XCB_BUTTON_RELEASE, static_cast<uint8_t>(button), 0, 0);
}

void XInput::click(int x, int y, int button)
{
    move(x, y);
    press(button);
    release(button);
}

bool XInput::settle()
{
    constexpr int Attempts = 100000; // each a round trip to the server
    for (int i = 0; isValid() && i < Attempts; ++i) {
        const XReply<xcb_grab_pointer_reply_t> grab(
            xcb_grab_pointer_reply(m_connection,
                                   xcb_grab_pointer(m_connection, 1, m_root, 0, XCB_GRAB_MODE_ASYNC,
                                                    XCB_GRAB_MODE_ASYNC, XCB_NONE, XCB_NONE, XCB_CURRENT_TIME),
                                   nullptr));
        if (!grab || grab->status != XCB_GRAB_STATUS_SUCCESS)
            continue;
        xcb_ungrab_pointer(m_connection, XCB_CURRENT_TIME);
        xcb_flush(m_connection);
        return true;
    }
    return false;
}

bool XInput::key(uint32_t symbol)
{
    const uint8_t code = keyCode(symbol);
    if (code == 0)
        return false;
    send(XCB_KEY_PRESS, code, 0, 0);
    send(XCB_KEY_RELEASE, code, 0, 0);
    return true;
}

void XInput::send(uint8_t type, uint8_t detail, int x, int y)
{
    if (!isValid())
        return;
    xcb_test_fake_input(m_connection, type, detail, XCB_CURRENT_TIME, m_root, static_cast<int16_t>(x),
                        static_cast<int16_t>(y), 0);
    const XReply<xcb_get_input_focus_reply_t> taken(
        xcb_get_input_focus_reply(m_connection, xcb_get_input_focus(m_connection), nullptr));
}

uint8_t XInput::keyCode(uint32_t symbol) const
{
    if (!isValid())
        return 0;
    const xcb_setup_t *setup = xcb_get_setup(m_connection);
    const auto count = static_cast<uint8_t>(setup->max_keycode - setup->min_keycode + 1);
    const auto cookie = xcb_get_keyboard_mapping(m_connection, setup->min_keycode, count);
    const XReply<xcb_get_keyboard_mapping_reply_t> reply(xcb_get_keyboard_mapping_reply(m_connection, cookie, nullptr));
    if (!reply)
        return 0;
    uint8_t code = 0;
    const xcb_keysym_t *symbols = xcb_get_keyboard_mapping_keysyms(reply.get());
    for (int i = 0; i < count && code == 0; ++i) {
        if (symbols[i * reply->keysyms_per_keycode] == symbol)
            code = static_cast<uint8_t>(setup->min_keycode + i);
    }
    return code;
}
