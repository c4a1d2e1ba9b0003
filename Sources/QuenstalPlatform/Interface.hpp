#pragma once

namespace quenstal {

/// Base of the core's ports and of the seam's interfaces: held by reference or pointer, never copied.
class Interface {
public:
    virtual ~Interface() = default;
    Interface(const Interface&) = delete;
    Interface& operator=(const Interface&) = delete;

protected:
    Interface() = default;
};

} // namespace quenstal
