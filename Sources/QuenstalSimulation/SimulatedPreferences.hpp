#pragma once

#include "QuenstalPlatform/Handlers.hpp"
#include "QuenstalPlatform/Preferences.hpp"

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
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

    void saveNow() override { ++saves_; }
    std::optional<PreferencesProblem> problem() const override { return problem_; }
    [[nodiscard]] Cancellation onProblemChanged(RunLoop::Task task) override
    {
        return problemObservers_.add(std::move(task));
    }

    void setProblem(std::optional<PreferencesProblem> problem)
    {
        problem_ = std::move(problem);
        problemObservers_.call();
    }
    /// How often the program waited for it.
    int saves() const { return saves_; }
    /// Everything stored, by key.
    const Values& values() const { return values_; }

private:
    template <typename T>
    const T* find(std::string_view key) const;

    Values values_;
    int saves_ = 0;
    std::optional<PreferencesProblem> problem_;
    Handlers<RunLoop::Task> problemObservers_;
};

} // namespace quenstal
