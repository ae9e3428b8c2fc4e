// SPDX-License-Identifier: MIT
// HostWindows_qt.cpp - windows of the host behind a WindowRef: Qt widgets and X11 windows of any toolkit.
#include "HIToolbox/Application_qt.h"
#include "HIToolbox/Windows_qt.h"

#include <veltrano/HostWindow.h>

#include <QtGui/QScreen>
#include <QtGui/QWindow>
#include <QtWidgets/QApplication>
#include <xcb/xcb.h>

#include <cstdlib>
#include <cstring>
#include <unistd.h>
#include <utility>

namespace {

xcb_connection_t* Connection()
{
    const auto* x11 = qApp ? qApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    return x11 ? x11->connection() : nullptr;
}

// Sends a request and waits for its answer. Null for an error: the host may destroy its window at any moment.
template <class Cookie, class Reply, class... Arguments>
auto Ask(Cookie (*request)(xcb_connection_t*, Arguments...),
         Reply* (*answer)(xcb_connection_t*, Cookie, xcb_generic_error_t**),
         std::type_identity_t<Arguments>... arguments)
{
    xcb_connection_t* x = Connection();
    Reply* reply = x ? answer(x, request(x, arguments...), nullptr) : nullptr;
    return std::unique_ptr<Reply, decltype(&std::free)>(reply, &std::free);
}

xcb_atom_t Atom(const char* name)
{
    const auto length = static_cast<std::uint16_t>(std::strlen(name));
    const auto reply = Ask(xcb_intern_atom, xcb_intern_atom_reply, 0, length, name);
    return reply ? reply->atom : xcb_atom_t { XCB_ATOM_NONE };
}

// A property of 32-bit values, up to `count` of them; empty when it is absent.
std::vector<std::uint32_t> Property(xcb_window_t window, const char* name, std::uint32_t count)
{
    const auto reply = Ask(xcb_get_property, xcb_get_property_reply, 0, window, Atom(name),
                           XCB_ATOM_ANY, 0, count);
    if (!reply || reply->format != 32)
        return {};
    const auto* values = static_cast<const std::uint32_t*>(xcb_get_property_value(reply.get()));
    return { values, values + reply->value_len };
}

// Sends a request whose failure is of no interest. Unchecked, the error would go to the host's log.
void Send(xcb_void_cookie_t cookie) { std::free(xcb_request_check(Connection(), cookie)); }

// The server counts pixels, Qt counts points of a screen whose corner is the same in both.
QRect ToPoints(const QRect& pixels)
{
    for (const QScreen* screen : QGuiApplication::screens()) {
        const QRect points = screen->geometry();
        const double ratio = screen->devicePixelRatio();
        const QRect its(points.topLeft(), points.size() * ratio);
        if (!pixels.isEmpty() && its.contains(pixels.center())) {
            const QPointF offset = QPointF(pixels.topLeft() - points.topLeft()) / ratio;
            return { points.topLeft() + offset.toPoint(), pixels.size() / ratio };
        }
    }
    return pixels;
}

// A window of another toolkit. Neither Qt nor the window manager blocks it, so an invisible child
// that swallows clicks and keys covers it while it must take no input.
struct X11Window final : OpaqueWindowPtr
{
    explicit X11Window(xcb_window_t window)
        : m_window(window)
    {
    }
    ~X11Window() override
    {
        SetBlocked(false);
        delete m_handle; // Qt's idea of it; the window itself stays
    }

    auto Geometry() const { return Ask(xcb_get_geometry, xcb_get_geometry_reply, m_window); }
    auto Attributes() const
    {
        return Ask(xcb_get_window_attributes, xcb_get_window_attributes_reply, m_window);
    }

    bool IsVisible() const override
    {
        const auto reply = Attributes();
        return reply && reply->map_state == XCB_MAP_STATE_VIEWABLE;
    }
    QRect Structure() const override
    {
        QRect pixels = Pixels();
        if (const auto frame = Property(m_window, "_NET_FRAME_EXTENTS", 4); frame.size() == 4) {
            const auto side = [&](std::size_t at) { return static_cast<int>(frame[at]); };
            pixels.adjust(-side(0), -side(2), side(1), side(3)); // left, right, top, bottom
        }
        return ToPoints(pixels);
    }
    QRect Content() const override { return ToPoints(Pixels()); }

    void Activate() override
    {
        const auto geometry = Geometry();
        if (!geometry || !IsVisible())
            return;
        xcb_connection_t* x = Connection();
        xcb_client_message_event_t message {};
        message.response_type = XCB_CLIENT_MESSAGE;
        message.format = 32;
        message.window = m_window;
        message.type = Atom("_NET_ACTIVE_WINDOW");
        message.data.data32[0] = 2; // asked for by the user, who closed our window
        Send(xcb_send_event_checked(x, 0, geometry->root,
                                    XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT
                                        | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                                    reinterpret_cast<const char*>(&message)));
        const std::uint32_t above = XCB_STACK_MODE_ABOVE;
        Send(xcb_configure_window_checked(x, m_window, XCB_CONFIG_WINDOW_STACK_MODE, &above));
    }

    QWindow* Handle() override
    {
        if (!m_handle)
            m_handle = QWindow::fromWinId(m_window);
        return Exists() ? m_handle : nullptr;
    }

    void SetBlocked(bool blocked) override
    {
        xcb_connection_t* x = Connection();
        if (!x || blocked == (m_cover != XCB_NONE))
            return;
        KeepPixels(x, blocked);
        if (!blocked) {
            Send(xcb_destroy_window_checked(x, std::exchange(m_cover, XCB_NONE)));
            return;
        }
        constexpr std::uint16_t kSide = 16384; // more than any screen: the host may grow meanwhile
        const std::uint32_t swallowed = XCB_EVENT_MASK_BUTTON_PRESS | XCB_EVENT_MASK_BUTTON_RELEASE
            | XCB_EVENT_MASK_POINTER_MOTION | XCB_EVENT_MASK_KEY_PRESS | XCB_EVENT_MASK_KEY_RELEASE;
        m_cover = xcb_generate_id(x);
        Send(xcb_create_window_checked(x, 0, m_cover, m_window, 0, 0, kSide, kSide, 0,
                                       XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT,
                                       XCB_CW_EVENT_MASK, &swallowed));
        Send(xcb_map_window_checked(x, m_cover));
    }

    bool Exists() const { return Geometry() != nullptr; }
    xcb_window_t Id() const { return m_window; }

private:
    // A blocked host may not repaint what a window above it uncovers: the server keeps its pixels, as far as it can.
    void KeepPixels(xcb_connection_t* x, bool on)
    {
        if (on) {
            const auto reply = Attributes();
            m_backingStore
                = reply ? reply->backing_store : std::uint32_t { XCB_BACKING_STORE_NOT_USEFUL };
        }
        const std::uint32_t value
            = on ? std::uint32_t { XCB_BACKING_STORE_ALWAYS } : m_backingStore;
        Send(xcb_change_window_attributes_checked(x, m_window, XCB_CW_BACKING_STORE, &value));
    }
    QRect Pixels() const
    {
        const auto size = Geometry();
        if (!size)
            return {};
        const auto corner = Ask(xcb_translate_coordinates, xcb_translate_coordinates_reply,
                                m_window, size->root, 0, 0);
        return corner ? QRect(corner->dst_x, corner->dst_y, size->width, size->height) : QRect();
    }

    xcb_window_t m_window;
    xcb_window_t m_cover = XCB_NONE;
    std::uint32_t m_backingStore = 0; // the host's own, while it is blocked
    QPointer<QWindow> m_handle;
};

std::shared_ptr<X11Window> Wrap(unsigned long id)
{
    const auto window = std::make_shared<X11Window>(static_cast<xcb_window_t>(id));
    return id && window->Exists() ? window : nullptr;
}

} // namespace

WindowPtr Windows_WrapActive()
{
    if (QWidget* active = QApplication::activeWindow())
        return std::make_shared<WidgetWindow>(active);
    xcb_connection_t* x = Connection();
    if (!x)
        return nullptr;
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(x)).data->root;
    const auto active = Property(root, "_NET_ACTIVE_WINDOW", 1);
    if (active.empty() || !active[0])
        return nullptr;
    const auto process = Property(active[0], "_NET_WM_PID", 1);
    bool ours = !process.empty() && process[0] == static_cast<std::uint32_t>(getpid());
    for (const WindowPtr& window : Windows_All()) { // a plain X program may not tell its process
        const auto* host = dynamic_cast<const X11Window*>(window.get());
        ours = ours || (host && host->Id() == active[0]);
    }
    return ours ? Wrap(active[0]) : nullptr;
}

WindowRef CreateWindowRefWithQWidget(void* qWidget)
try {
    if (!qWidget || !Application_IsReady())
        return nullptr;
    return Windows_Add(std::make_shared<WidgetWindow>(static_cast<QWidget*>(qWidget)->window()));
} catch (...) {
    return nullptr;
}

WindowRef CreateWindowRefWithX11Window(unsigned long window)
try {
    if (!Application_IsReady() || !Connection())
        return nullptr;
    const auto wrapper = Wrap(window);
    return wrapper ? Windows_Add(wrapper) : nullptr;
} catch (...) {
    return nullptr;
}
