#pragma once

#include "support/XClients.h"

// Real mouse and key events through the X server (XTEST), on a separate connection. Every call returns when the server
// has taken the event; tests wait for the reaction of the programs. Coordinates are device pixels of the root window.
class XInput final
{
public:
    bool isValid() const; // false without a server or without XTEST

    void move(int x, int y) { send(XCB_MOTION_NOTIFY, 0, x, y); }
    void press(int button = 1) { send(XCB_BUTTON_PRESS, button); }
    void release(int button = 1) { send(XCB_BUTTON_RELEASE, button); }
    void click(int x, int y, int button = 1);
    // By X key symbol, e.g. 0xff0d for Return; false when the keyboard has no such key.
    bool key(xcb_keysym_t symbol);

private:
    void send(int type, int detail, int x = 0, int y = 0);
    int keyCode(xcb_keysym_t symbol) const;

    const XServer m_server;
};
