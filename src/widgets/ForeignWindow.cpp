#include "widgets/ForeignWindow.h"
#include <QByteArray>
#include <limits>

#include <X11/Xlib.h>

namespace tarn::visualized::foreign {
namespace {

Display *s_display = nullptr; // the connection whose errors are ours
bool s_failed = false;
XErrorHandler s_previous = nullptr;
XIOErrorHandler s_previousLoss = nullptr;

// For errors on other connections, the handlers pass on to those before them. Xlib's own would end the process.
int takeError(Display *display, XErrorEvent *event)
{
    s_failed = s_failed || display == s_display;
    return display != s_display && s_previous ? s_previous(display, event) : 0;
}

// May return since the display has an exit handler; all further calls on the display fail.
int takeLoss(Display *display)
{
    s_failed = s_failed || display == s_display;
    return display != s_display && s_previousLoss ? s_previousLoss(display) : 0;
}

// A display connection with our error handlers in force for as long as it lives.
class Connection final
{
public:
    Connection()
        : m_display(XOpenDisplay(nullptr))
    {
        if (!m_display)
            return;
        XSetIOErrorExitHandler(
            m_display, [](Display *, void *) {}, nullptr);
        s_display = m_display;
        s_failed = false;
        s_previous = XSetErrorHandler(takeError);
        s_previousLoss = XSetIOErrorHandler(takeLoss);
    }
    ~Connection()
    {
        if (!m_display)
            return;
        XSync(m_display, False); // errors arrive late: they are collected while the handler is installed
        XCloseDisplay(m_display);
        XSetErrorHandler(s_previous);
        XSetIOErrorHandler(s_previousLoss);
        s_display = nullptr;
    }
    Q_DISABLE_COPY(Connection)

    Display *get() const { return m_display; }
    bool failed() const
    {
        XSync(m_display, False);
        return s_failed;
    }

private:
    Display *m_display;
};

constexpr quintptr MostId = std::numeric_limits<quint32>::max(); // ids have 32 bits on the wire and would be cut there
constexpr int MostLevels = 32;                                   // of windows within windows

bool isWithin(Display *display, Window inner, Window outer)
{
    for (int level = 0; level < MostLevels && inner != None; ++level) {
        if (inner == outer)
            return true;
        Window root = None;
        Window parent = None;
        Window *children = nullptr;
        unsigned int count = 0;
        if (!XQueryTree(display, inner, &root, &parent, &children, &count))
            return false;
        if (children)
            XFree(children);
        inner = parent == root ? None : parent;
    }
    return false;
}

} // namespace

bool isActive(quintptr id)
{
    if (id == 0 || id > MostId)
        return false;
    const Connection connection;
    Display *display = connection.get();
    if (!display)
        return false;
    Window focused = None;
    int revertTo = 0;
    XGetInputFocus(display, &focused, &revertTo);
    if (focused == None || focused == PointerRoot || focused == DefaultRootWindow(display) || connection.failed())
        return false;
    return isWithin(display, focused, id) || isWithin(display, id, focused);
}

Read readWindow(quintptr id, QRect *geometry)
{
    const Connection connection;
    Display *display = connection.get();
    if (!display)
        return Read::NoDisplay;
    if (id > MostId)
        return Read::NoAttributes;
    XWindowAttributes attributes = {};
    if (!XGetWindowAttributes(display, id, &attributes) || connection.failed())
        return Read::NoAttributes;
    int x = 0;
    int y = 0;
    Window child = None;
    if (!XTranslateCoordinates(display, id, DefaultRootWindow(display), 0, 0, &x, &y, &child) || connection.failed())
        return Read::NoTranslation;
    *geometry = QRect(x, y, attributes.width, attributes.height);
    return Read::Ok;
}

Compositing readCompositing()
{
    Compositing state;
    const Connection connection;
    Display *display = connection.get();
    if (!display)
        return state;
    const QByteArray name = "_NET_WM_CM_S" + QByteArray::number(DefaultScreen(display));
    const Atom selection = XInternAtom(display, name.constData(), False);
    state.selection = quint32(selection);
    state.isRunning = XGetSelectionOwner(display, selection) != None;
    int opcode = 0;
    int firstEvent = 0;
    int firstError = 0;
    if (XQueryExtension(display, "XFIXES", &opcode, &firstEvent, &firstError))
        state.eventType = firstEvent;
    return connection.failed() ? Compositing() : state;
}

} // namespace tarn::visualized::foreign
