#include "QuenstalLinux/Display/I2CDevices.hpp"

#include <algorithm>
#include <array>
#include <cerrno>

#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace quenstal {
namespace {

/// Makes the call until it is not interrupted; its result, or -1 with `errno` set.
template <typename Call>
auto uninterrupted(Call call)
{
    auto result = call();
    while (result < 0 && errno == EINTR)
        result = call();
    return result;
}

int errorOf(long result)
{
    return result < 0 ? errno : 0;
}

/// A transfer that moved less than it should is as good as none.
int errorOfTransfer(long result, std::size_t wanted)
{
    if (result < 0)
        return errno;
    return static_cast<std::size_t>(result) == wanted ? 0 : EIO;
}

int transfer(int descriptor, i2c_msg message)
{
    i2c_rdwr_ioctl_data messages{&message, 1};
    return errorOfTransfer(uninterrupted([&] { return ::ioctl(descriptor, I2C_RDWR, &messages); }), 1);
}

} // namespace

int SystemI2CDevices::open(const std::string& path, int& descriptor)
{
    descriptor = uninterrupted([&] { return ::open(path.c_str(), O_RDWR | O_CLOEXEC); });
    return errorOf(descriptor);
}

void SystemI2CDevices::close(int descriptor)
{
    ::close(descriptor);
}

int SystemI2CDevices::lock(int descriptor)
{
    return errorOf(uninterrupted([&] { return ::flock(descriptor, LOCK_EX | LOCK_NB); }));
}

void SystemI2CDevices::unlock(int descriptor)
{
    ::flock(descriptor, LOCK_UN);
}

int SystemI2CDevices::write(int descriptor, Address address, std::span<const std::uint8_t> bytes)
{
    // The kernel's structure has no place for const bytes.
    std::array<std::uint8_t, 32> copy{};
    if (bytes.size() > copy.size())
        return EMSGSIZE;
    std::ranges::copy(bytes, copy.begin());
    return transfer(descriptor, {address, 0, static_cast<std::uint16_t>(bytes.size()), copy.data()});
}

int SystemI2CDevices::read(int descriptor, Address address, std::span<std::uint8_t> bytes)
{
    return transfer(descriptor, {address, I2C_M_RD, static_cast<std::uint16_t>(bytes.size()), bytes.data()});
}

int SystemI2CDevices::choose(int descriptor, Address address)
{
    return errorOf(uninterrupted([&] { return ::ioctl(descriptor, I2C_SLAVE, static_cast<unsigned long>(address)); }));
}

int SystemI2CDevices::writeChosen(int descriptor, std::span<const std::uint8_t> bytes)
{
    return errorOfTransfer(
        uninterrupted([&] { return ::write(descriptor, bytes.data(), bytes.size()); }), bytes.size());
}

int SystemI2CDevices::readChosen(int descriptor, std::span<std::uint8_t> bytes)
{
    return errorOfTransfer(uninterrupted([&] { return ::read(descriptor, bytes.data(), bytes.size()); }), bytes.size());
}

} // namespace quenstal
