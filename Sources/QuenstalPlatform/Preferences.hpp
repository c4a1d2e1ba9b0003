#pragma once

#include "QuenstalPlatform/Interface.hpp"

#include <optional>
#include <string>
#include <string_view>

namespace quenstal {

/// The user's preferences: one typed value a key, kept across runs. Keys are case-sensitive. A value of another type
/// than the one asked for counts as missing. Nothing fails visibly: what cannot be read is missing, and a value that
/// cannot be written stays in force until the program ends. Main thread.
class Preferences : public Interface {
public:
    /// Bytes, whatever they are.
    virtual std::optional<std::string> data(std::string_view key) = 0;
    /// False when missing.
    virtual bool boolean(std::string_view key) = 0;
    /// 0 when missing.
    virtual double number(std::string_view key) = 0;
    /// UTF-8.
    virtual std::optional<std::string> string(std::string_view key) = 0;

    // Each replaces any earlier value under the key, of whatever type. Seen by every later read, in every process of
    // the user, once it returns.
    virtual void setData(std::string_view key, std::string_view bytes) = 0;
    virtual void setBoolean(std::string_view key, bool value) = 0;
    virtual void setNumber(std::string_view key, double value) = 0;
    virtual void setString(std::string_view key, std::string_view text) = 0;
};

} // namespace quenstal
