#pragma once

#include <cstdint>

struct xcb_connection_t;

// Real mouse and key events through the X server (XTEST), on a separate connection. Every call returns when the server
// has taken the event; tests wait for the reaction of the programs. Coordinates are device pixels of the root window.
class XInput final
{
public:
    XInput();
    ~XInput();
    XInput(const XInput &) = delete;
    XInput &operator=(const XInput &) = delete;

    bool isValid() const; // false without a server or without XTEST

    void move(int x, int y);
    void press(int button = 1);
    void release(int button = 1);
    void click(int x, int y, int button = 1);
    // Waits until the window manager has let the last click through: with many it looks at each click first, and keys
    // would overtake it.
    bool settle();
    // By X key symbol, e.g. 0xff0d for Return; false when the keyboard has no such key.
    bool key(uint32_t symbol);

private:
    void send(uint8_t type, uint8_t detail, int x, int y);
    uint8_t keyCode(uint32_t symbol) const;

    xcb_connection_t *m_connection = nullptr;
    uint32_t m_root = 0;
};
