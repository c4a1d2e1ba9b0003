#include "QuenstalKeyService/KeyClient.hpp"

#include <utility>

#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

namespace quenstal {

namespace {

/// In bytes as the kernel counts: some forty packets. A client that is further behind than that is not sent more.
constexpr int socketRoom = 16 * 1024;

} // namespace

KeyClient::KeyClient(RunLoop& runLoop, DBusConnection& bus, const std::string& name, FileDescriptor socket, Gone gone)
    : runLoop_(runLoop)
    , name_(name)
    , socket_(std::move(socket))
    , gone_(std::move(gone))
    // Readable means closed, or written to: neither is for a client to do and stay.
    , socketWatch_(runLoop.watchReadable(socket_.get(), [this] { leave("closed its socket"); }))
    , presence_(bus, name, [this] {
        if (presence_.current() != name_)
            leave("left the bus");
    })
{
    setsockopt(socket_.get(), SOL_SOCKET, SO_SNDBUF, &socketRoom, sizeof socketRoom);
}

KeyClient::~KeyClient()
{
    // Closing alone would not do while a forked process holds a copy.
    shutdown(socket_.get(), SHUT_RDWR);
}

void KeyClient::send(const VolumeKeyPress& press)
{
    if (!hasUnread())
        unreadSince_ = runLoop_.steadyNow();
    const VolumeKeyPacket packet = packetOf(press);
    ::send(socket_.get(), packet.data(), packet.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    if (!unreadCheck_)
        unreadCheck_ = runLoop_.after(patience, [this] { lookForUnread(); });
}

bool KeyClient::hasUnread() const
{
    int bytes = 0;
    return ioctl(socket_.get(), SIOCOUTQ, &bytes) == 0 && bytes > 0;
}

void KeyClient::lookForUnread()
{
    unreadCheck_.reset();
    if (!hasUnread())
        return;
    const auto unreadFor = runLoop_.steadyNow() - *unreadSince_;
    if (unreadFor >= patience)
        leave("stopped responding");
    else
        unreadCheck_ = runLoop_.after(patience - unreadFor, [this] { lookForUnread(); });
}

void KeyClient::leave(const char* reason)
{
    socketWatch_.reset();
    if (!leaving_)
        leaving_ = runLoop_.after(RunLoop::Duration::zero(), [gone = gone_, reason] { gone(reason); });
}

} // namespace quenstal
