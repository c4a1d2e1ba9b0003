#include "QuenstalSimulation/SimulatedPreferences.hpp"

namespace quenstal {

template <typename T>
const T* SimulatedPreferences::find(std::string_view key) const
{
    const auto found = values_.find(key);
    return found == values_.end() ? nullptr : std::get_if<T>(&found->second);
}

std::optional<std::string> SimulatedPreferences::data(std::string_view key)
{
    const Data* data = find<Data>(key);
    return data ? std::optional(data->bytes) : std::nullopt;
}

bool SimulatedPreferences::boolean(std::string_view key)
{
    const bool* value = find<bool>(key);
    return value && *value;
}

double SimulatedPreferences::number(std::string_view key)
{
    const double* value = find<double>(key);
    return value ? *value : 0;
}

std::optional<std::string> SimulatedPreferences::string(std::string_view key)
{
    const std::string* text = find<std::string>(key);
    return text ? std::optional(*text) : std::nullopt;
}

void SimulatedPreferences::setData(std::string_view key, std::string_view bytes)
{
    values_.insert_or_assign(std::string(key), Data{std::string(bytes)});
}

void SimulatedPreferences::setBoolean(std::string_view key, bool value)
{
    values_.insert_or_assign(std::string(key), value);
}

void SimulatedPreferences::setNumber(std::string_view key, double value)
{
    values_.insert_or_assign(std::string(key), value);
}

void SimulatedPreferences::setString(std::string_view key, std::string_view text)
{
    values_.insert_or_assign(std::string(key), std::string(text));
}

} // namespace quenstal
