#pragma once

#include "QuenstalPlatform/Preferences.hpp"

#include <functional>
#include <map>
#include <string>
#include <variant>

namespace quenstal {

/// The user's preferences in memory. Kept across restarts of the program by keeping the object.
class SimulatedPreferences final : public Preferences {
public:
    struct Data {
        std::string bytes;
        bool operator==(const Data&) const = default;
    };
    using Value = std::variant<Data, bool, double, std::string>;
    using Values = std::map<std::string, Value, std::less<>>;

    std::optional<std::string> data(std::string_view key) override;
    bool boolean(std::string_view key) override;
    double number(std::string_view key) override;
    std::optional<std::string> string(std::string_view key) override;
    void setData(std::string_view key, std::string_view bytes) override;
    void setBoolean(std::string_view key, bool value) override;
    void setNumber(std::string_view key, double value) override;
    void setString(std::string_view key, std::string_view text) override;

    /// Everything stored, by key.
    const Values& values() const { return values_; }

private:
    template <typename T>
    const T* find(std::string_view key) const;

    Values values_;
};

} // namespace quenstal
