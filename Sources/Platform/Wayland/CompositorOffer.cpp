#include "Platform/Wayland/CompositorOffer.h"

#include <wayland-client.h>

#include <chrono>
#include <cstdarg>
#include <fstream>
#include <memory>
#include <string_view>

#include <poll.h>
#include <sys/socket.h>

namespace Pelgra {

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr auto patience = 1s;

struct Disconnect {
    void operator()(wl_display* display) const { wl_display_disconnect(display); }
};

struct Destroy {
    void operator()(wl_registry* registry) const { wl_registry_destroy(registry); }
    void operator()(wl_callback* callback) const { wl_callback_destroy(callback); }
};

struct Answer {
    CompositorOffer offer;
    bool isComplete = false;
};

void noteGlobal(void* data, wl_registry*, std::uint32_t, const char* interface, std::uint32_t)
{
    CompositorOffer& offer = static_cast<Answer*>(data)->offer;
    const std::string_view name = interface;
    offer.hasLayers = offer.hasLayers || name == "zwlr_layer_shell_v1";
    offer.hasKeyState = offer.hasKeyState || name == "org_kde_kwin_keystate";
}

void ignoreRemoval(void*, wl_registry*, std::uint32_t)
{
}

void noteEnd(void* data, wl_callback*, std::uint32_t)
{
    static_cast<Answer*>(data)->isComplete = true;
}

constexpr wl_registry_listener registryListener{noteGlobal, ignoreRemoval};
constexpr wl_callback_listener endListener{noteEnd};

/// Handles what arrives until then. False when nothing comes, or the connection breaks.
bool handleEvents(wl_display* display, Clock::time_point deadline)
{
    while (wl_display_prepare_read(display) != 0) {
        if (wl_display_dispatch_pending(display) < 0)
            return false;
    }
    wl_display_flush(display);
    pollfd socket{wl_display_get_fd(display), POLLIN, 0};
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    if (left <= 0ms || poll(&socket, 1, static_cast<int>(left.count())) <= 0) {
        wl_display_cancel_read(display);
        return false;
    }
    return wl_display_read_events(display) == 0 && wl_display_dispatch_pending(display) >= 0;
}

} // namespace

CompositorOffer compositorOffer()
{
    wl_log_set_handler_client([](const char*, va_list) { }); // what fails here is told by whoever asked
    const std::unique_ptr<wl_display, Disconnect> display(wl_display_connect(nullptr));
    if (!display)
        return {};
    Answer answer;
    const std::unique_ptr<wl_registry, Destroy> registry(wl_display_get_registry(display.get()));
    wl_registry_add_listener(registry.get(), &registryListener, &answer);
    // Answered after the list that was asked for before it.
    const std::unique_ptr<wl_callback, Destroy> end(wl_display_sync(display.get()));
    wl_callback_add_listener(end.get(), &endListener, &answer);
    const Clock::time_point deadline = Clock::now() + patience;
    while (!answer.isComplete) {
        if (!handleEvents(display.get(), deadline))
            return {};
    }
    return answer.offer;
}

std::string compositorName()
{
    const std::unique_ptr<wl_display, Disconnect> display(wl_display_connect(nullptr));
    ucred peer{};
    socklen_t size = sizeof(peer);
    if (!display || getsockopt(wl_display_get_fd(display.get()), SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0)
        return {};
    std::string name;
    std::getline(std::ifstream("/proc/" + std::to_string(peer.pid) + "/comm"), name);
    return name;
}

} // namespace Pelgra
