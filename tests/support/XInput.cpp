#include "support/XInput.h"

#include "support/XReply.h"

#include <xcb/xtest.h>

bool XInput::isValid() const
{
    if (!m_server.isValid())
        return false;
    const xcb_query_extension_reply_t *extension = xcb_get_extension_data(m_server.connection(), &xcb_test_id);
    return extension && extension->present;
}

void XInput::click(int x, int y, int button)
{
    move(x, y);
    press(button);
    release(button);
}

bool XInput::key(xcb_keysym_t symbol)
{
    const int code = keyCode(symbol);
    if (code == 0)
        return false;
    send(XCB_KEY_PRESS, code);
    send(XCB_KEY_RELEASE, code);
    return true;
}

void XInput::send(int type, int detail, int x, int y)
{
    if (!isValid())
        return;
    xcb_test_fake_input(m_server.connection(), uint8_t(type), uint8_t(detail), XCB_CURRENT_TIME, m_server.root(),
                        int16_t(x), int16_t(y), 0);
    m_server.focus();
}

int XInput::keyCode(xcb_keysym_t symbol) const
{
    if (!isValid())
        return 0;
    xcb_connection_t *connection = m_server.connection();
    const xcb_setup_t *setup = xcb_get_setup(connection);
    const int first = setup->min_keycode;
    const int count = setup->max_keycode - first + 1;
    const XReply<xcb_get_keyboard_mapping_reply_t> reply(xcb_get_keyboard_mapping_reply(
        connection, xcb_get_keyboard_mapping(connection, uint8_t(first), uint8_t(count)), nullptr));
    const xcb_keysym_t *symbols = reply ? xcb_get_keyboard_mapping_keysyms(reply.get()) : nullptr;
    for (int i = 0; symbols && i < count; ++i) {
        if (symbols[i * reply->keysyms_per_keycode] == symbol)
            return first + i;
    }
    return 0;
}
