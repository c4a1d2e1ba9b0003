#include "QuenstalLinux/Desktop/X11TrayIcon.hpp"

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>
#include <utility>

namespace quenstal {

namespace {

constexpr std::uint8_t opaqueDepth = 24;
constexpr std::uint8_t translucentDepth = 32;
/// No bar is higher, and a picture of this size still fits into one request.
constexpr int mostSize = 128;

/// `pixel` has its alpha already multiplied in.
std::uint32_t over(std::uint32_t pixel, std::uint32_t ground)
{
    const std::uint32_t rest = 255 - (pixel >> 24);
    std::uint32_t mixed = 0;
    for (const int shift : {0, 8, 16})
        mixed |= std::min(255U, (pixel >> shift & 0xFF) + (ground >> shift & 0xFF) * rest / 255) << shift;
    return mixed;
}

std::uint8_t depthOf(const xcb_screen_t& screen, xcb_visualid_t visual)
{
    for (auto depth = xcb_screen_allowed_depths_iterator(&screen); depth.rem > 0; xcb_depth_next(&depth)) {
        for (auto type = xcb_depth_visuals_iterator(depth.data); type.rem > 0; xcb_visualtype_next(&type)) {
            if (type.data->visual_id == visual)
                return depth.data->depth;
        }
    }
    return 0;
}

} // namespace

X11TrayIcon::X11TrayIcon(
    XcbConnection connection, int screenNumber, RunLoop& runLoop, WindowSystem::TrayIconUser user, int pixels)
    : connection_(std::move(connection))
    , screenNumber_(screenNumber)
    , runLoop_(runLoop)
    , user_(std::move(user))
    , leastSize_(static_cast<std::uint32_t>(std::clamp(pixels, 1, mostSize)))
    , selection_(intern("_NET_SYSTEM_TRAY_S" + std::to_string(screenNumber)))
    , manager_(intern("MANAGER"))
    , watch_(runLoop.watchReadable(xcb_get_file_descriptor(connection_.get()), [this] { dispatch(); }))
{
    // A new tray announces itself to the root window.
    const std::uint32_t mask = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_change_window_attributes(connection_.get(), screen()->root, XCB_CW_EVENT_MASK, &mask);
    lookForTray();
    later_ = runLoop_.after({}, [this] { dispatch(); });
}

xcb_atom_t X11TrayIcon::intern(const std::string& name)
{
    return atomOf(connection_.get(), name);
}

xcb_screen_t* X11TrayIcon::screen() const
{
    return screenOf(connection_.get(), screenNumber_);
}

void X11TrayIcon::lookForTray()
{
    removeWindow();
    const auto reply = owned(xcb_get_selection_owner_reply(
        connection_.get(), xcb_get_selection_owner(connection_.get(), selection_), nullptr));
    tray_ = reply ? reply->owner : static_cast<xcb_window_t>(XCB_NONE);
    if (tray_ != XCB_NONE) {
        const std::uint32_t mask = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
        xcb_change_window_attributes(connection_.get(), tray_, XCB_CW_EVENT_MASK, &mask);
        createWindow();
    }
    xcb_flush(connection_.get());
}

std::optional<xcb_visualid_t> X11TrayIcon::translucentVisual()
{
    const auto reply = owned(xcb_get_property_reply(connection_.get(),
        xcb_get_property(connection_.get(), 0, tray_, intern("_NET_SYSTEM_TRAY_VISUAL"), XCB_ATOM_VISUALID, 0, 1),
        nullptr));
    xcb_visualid_t visual = 0;
    if (!reply || xcb_get_property_value_length(reply.get()) != sizeof visual)
        return std::nullopt;
    std::memcpy(&visual, xcb_get_property_value(reply.get()), sizeof visual);
    return depthOf(*screen(), visual) == translucentDepth ? std::optional(visual) : std::nullopt;
}

void X11TrayIcon::createWindow()
{
    const auto translucent = translucentVisual();
    depth_ = translucent ? translucentDepth : screen()->root_depth;
    if (depth_ != opaqueDepth && depth_ != translucentDepth)
        return;
    const xcb_visualid_t visual = translucent.value_or(screen()->root_visual);
    window_ = xcb_generate_id(connection_.get());
    colormap_ = xcb_generate_id(connection_.get());
    graphics_ = xcb_generate_id(connection_.get());
    xcb_create_colormap(connection_.get(), XCB_COLORMAP_ALLOC_NONE, colormap_, screen()->root, visual);
    // Where nothing is translucent, the bar's own ground shows through.
    constexpr std::uint32_t transparentPixel = 0;
    constexpr std::uint32_t barsGround = XCB_BACK_PIXMAP_PARENT_RELATIVE;
    const std::uint32_t ground = translucent ? transparentPixel : barsGround;
    const std::uint32_t heard = XCB_EVENT_MASK_EXPOSURE | XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_BUTTON_PRESS;
    const std::array<std::uint32_t, 4> values{ground, 0, heard, colormap_};
    const std::uint32_t rest = XCB_CW_BORDER_PIXEL | XCB_CW_EVENT_MASK | XCB_CW_COLORMAP;
    const auto size = static_cast<std::uint16_t>(leastSize_);
    xcb_create_window(connection_.get(), depth_, window_, screen()->root, 0, 0, size, size, 0,
        XCB_WINDOW_CLASS_INPUT_OUTPUT, visual, rest | (translucent ? XCB_CW_BACK_PIXEL : XCB_CW_BACK_PIXMAP),
        values.data());
    width_ = height_ = size;
    xcb_create_gc(connection_.get(), graphics_, window_, 0, nullptr);
    describeWindow();
    requestDock();
}

void X11TrayIcon::describeWindow()
{
    const auto set
        = [this](xcb_atom_t property, xcb_atom_t type, std::uint8_t bits, std::size_t length, const void* data) {
              xcb_change_property(connection_.get(), XCB_PROP_MODE_REPLACE, window_, property, type, bits,
                  static_cast<std::uint32_t>(length), data);
          };
    const xcb_atom_t info = intern("_XEMBED_INFO");
    const std::array<std::uint32_t, 2> versionAndMapped{0, 1};
    set(info, info, 32, versionAndMapped.size(), versionAndMapped.data());
    // The least width and height are the sixth and seventh entry, and bit four marks them as present.
    const std::array<std::uint32_t, 18> sizes{1U << 4U, 0, 0, 0, 0, leastSize_, leastSize_};
    set(XCB_ATOM_WM_NORMAL_HINTS, XCB_ATOM_WM_SIZE_HINTS, 32, sizes.size(), sizes.data());
    constexpr std::string_view programClass("quenstal\0Quenstal\0", 18);
    set(XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 8, programClass.size(), programClass.data());
    set(intern("_NET_WM_NAME"), intern("UTF8_STRING"), 8, name_.size(), name_.data());
}

void X11TrayIcon::removeWindow()
{
    if (window_ == XCB_NONE)
        return;
    xcb_free_gc(connection_.get(), graphics_);
    xcb_destroy_window(connection_.get(), window_);
    xcb_free_colormap(connection_.get(), colormap_);
    window_ = XCB_NONE;
    isDocked_ = false;
}

void X11TrayIcon::requestDock()
{
    constexpr std::uint32_t dock = 0;
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = tray_;
    message.type = intern("_NET_SYSTEM_TRAY_OPCODE");
    message.data.data32[0] = XCB_CURRENT_TIME;
    message.data.data32[1] = dock;
    message.data.data32[2] = window_;
    xcb_send_event(connection_.get(), 0, tray_, XCB_EVENT_MASK_NO_EVENT, reinterpret_cast<const char*>(&message));
}

void X11TrayIcon::show(const std::string& name)
{
    name_ = name;
    if (window_ == XCB_NONE)
        return;
    describeWindow();
    // The server asks for the picture in turn.
    xcb_clear_area(connection_.get(), 1, window_, 0, 0, 0, 0);
    xcb_flush(connection_.get());
    later_ = runLoop_.after({}, [this] { dispatch(); });
}

std::optional<WindowSystem::PixelRect> X11TrayIcon::frame()
{
    if (!isDocked_)
        return std::nullopt;
    const auto reply = owned(xcb_translate_coordinates_reply(
        connection_.get(), xcb_translate_coordinates(connection_.get(), window_, screen()->root, 0, 0), nullptr));
    // Events that arrived with the reply would not wake the loop.
    later_ = runLoop_.after({}, [this] { dispatch(); });
    if (!reply)
        return std::nullopt;
    return WindowSystem::PixelRect{reply->dst_x, reply->dst_y, width_, height_};
}

std::vector<std::uint32_t> X11TrayIcon::background(xcb_rectangle_t square)
{
    std::vector<std::uint32_t> pixels(std::size_t{square.width} * square.height);
    if (depth_ == translucentDepth)
        return pixels;
    const auto reply = owned(xcb_get_image_reply(connection_.get(),
        xcb_get_image(connection_.get(), XCB_IMAGE_FORMAT_Z_PIXMAP, window_, square.x, square.y, square.width,
            square.height, ~0U),
        nullptr));
    const std::size_t bytes = pixels.size() * sizeof pixels[0];
    // A window that is partly off the screen cannot be read.
    if (reply && static_cast<std::size_t>(xcb_get_image_data_length(reply.get())) >= bytes)
        std::memcpy(pixels.data(), xcb_get_image_data(reply.get()), bytes);
    return pixels;
}

void X11TrayIcon::paint()
{
    // A tray may ask for any size, or for none.
    const int size = std::clamp(std::min(width_, height_), 1, mostSize);
    const auto length = static_cast<std::uint16_t>(size);
    const xcb_rectangle_t square{static_cast<std::int16_t>((width_ - size) / 2),
        static_cast<std::int16_t>((height_ - size) / 2), length, length};
    xcb_clear_area(connection_.get(), 0, window_, 0, 0, 0, 0);
    std::vector<std::uint32_t> picture = user_.paint(size);
    if (depth_ == opaqueDepth) {
        const auto ground = background(square);
        std::transform(picture.begin(), picture.end(), ground.begin(), picture.begin(), over);
    }
    xcb_put_image(connection_.get(), XCB_IMAGE_FORMAT_Z_PIXMAP, window_, graphics_, length, length, square.x, square.y,
        0, depth_, static_cast<std::uint32_t>(picture.size() * sizeof picture[0]),
        reinterpret_cast<const std::uint8_t*>(picture.data()));
}

void X11TrayIcon::dispatch()
{
    while (const auto event = owned(xcb_poll_for_event(connection_.get())))
        handle(*event);
    xcb_flush(connection_.get());
    // The descriptor of a server that has gone stays readable for ever.
    if (xcb_connection_has_error(connection_.get()) != 0)
        watch_.reset();
}

void X11TrayIcon::handle(const xcb_generic_event_t& event)
{
    switch (event.response_type & 0x7F) {
    case XCB_CLIENT_MESSAGE:
        heardOfTray(reinterpret_cast<const xcb_client_message_event_t&>(event));
        break;
    case XCB_DESTROY_NOTIFY:
        destroyed(reinterpret_cast<const xcb_destroy_notify_event_t&>(event).window);
        break;
    case XCB_REPARENT_NOTIFY: {
        const auto& moved = reinterpret_cast<const xcb_reparent_notify_event_t&>(event);
        if (moved.window == window_)
            isDocked_ = moved.parent != screen()->root;
        break;
    }
    case XCB_CONFIGURE_NOTIFY: {
        const auto& sized = reinterpret_cast<const xcb_configure_notify_event_t&>(event);
        if (sized.window == window_) {
            width_ = sized.width;
            height_ = sized.height;
        }
        break;
    }
    case XCB_EXPOSE: {
        const auto& exposed = reinterpret_cast<const xcb_expose_event_t&>(event);
        if (exposed.window == window_ && exposed.count == 0)
            paint();
        break;
    }
    case XCB_BUTTON_PRESS:
        pressed(reinterpret_cast<const xcb_button_press_event_t&>(event).detail);
        break;
    default:
        break;
    }
}

void X11TrayIcon::heardOfTray(const xcb_client_message_event_t& message)
{
    if (message.type == manager_ && message.data.data32[1] == selection_ && message.data.data32[2] != tray_)
        lookForTray();
}

void X11TrayIcon::destroyed(xcb_window_t window)
{
    if (window == XCB_NONE)
        return;
    if (window == tray_)
        lookForTray();
    // A tray may destroy its icons along with itself.
    else if (window == window_)
        removeWindow();
}

void X11TrayIcon::pressed(xcb_button_t button)
{
    switch (button) {
    case XCB_BUTTON_INDEX_1:
    case XCB_BUTTON_INDEX_3:
        return user_.activated();
    case XCB_BUTTON_INDEX_2:
        return user_.secondaryActivated();
    case XCB_BUTTON_INDEX_4:
        return user_.scrolled(1);
    case XCB_BUTTON_INDEX_5:
        return user_.scrolled(-1);
    default:
        return;
    }
}

} // namespace quenstal
