#pragma once

#include "QuenstalPlatform/Interface.hpp"
#include "QuenstalPlatform/RunLoop.hpp"

#include <optional>
#include <string>
#include <string_view>

namespace quenstal {

/// What keeps the preferences from being kept.
struct PreferencesProblem {
    enum class Kind {
        /// What was stored is not valid: it was put aside, and everything has its default.
        notValid,
        /// What is stored cannot be read at present. It is left alone.
        notReadable,
        /// Changes cannot be stored at present.
        notSaved
    };

    Kind kind = Kind::notSaved;
    /// Where the user finds it.
    std::string file;

    bool operator==(const PreferencesProblem&) const = default;
};

/// The user's preferences: one typed value a key, kept across runs. Keys are case-sensitive. A value of another type
/// than the one asked for counts as missing, as does what cannot be read. Main thread.
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

    // Each replaces any earlier value under the key, of whatever type, and holds at once. It is stored a moment later:
    // nobody waits for a disk. A value that cannot be stored stays in force, and is tried again.
    virtual void setData(std::string_view key, std::string_view bytes) = 0;
    virtual void setBoolean(std::string_view key, bool value) = 0;
    virtual void setNumber(std::string_view key, double value) = 0;
    virtual void setString(std::string_view key, std::string_view text) = 0;

    /// Returns when everything set before is stored, or could not be. For the end of the program.
    virtual void saveNow() = 0;

    /// None while everything is kept.
    virtual std::optional<PreferencesProblem> problem() const = 0;
    /// Runs the task when there is another problem, or none any more.
    [[nodiscard]] virtual Cancellation onProblemChanged(RunLoop::Task task) = 0;
};

} // namespace quenstal
