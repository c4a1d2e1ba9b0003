#pragma once

#include "QuenstalPlatform/Interface.hpp"
#include "QuenstalPlatform/RunLoop.hpp"

#include <optional>
#include <string>
#include <string_view>

namespace quenstal {

/// Why the preferences cannot be kept.
struct PreferencesProblem {
    enum class Kind {
        /// The stored preferences are not valid: they were put aside, and everything has its default.
        notValid,
        /// The stored preferences cannot be read at present. They are left alone.
        notReadable,
        /// Changes cannot be stored at present.
        notSaved
    };

    Kind kind = Kind::notSaved;
    /// Where the user finds it.
    std::string file;

    bool operator==(const PreferencesProblem&) const = default;
};

/// The user's preferences: one typed value for each key, kept across runs. Keys are case-sensitive. A value of another
/// type than the one asked for counts as missing, as does what cannot be read. Main thread.
class Preferences : public Interface {
public:
    /// Arbitrary bytes.
    virtual std::optional<std::string> data(std::string_view key) = 0;
    /// False when missing.
    virtual bool boolean(std::string_view key) = 0;
    /// 0 when missing.
    virtual double number(std::string_view key) = 0;
    /// UTF-8.
    virtual std::optional<std::string> string(std::string_view key) = 0;

    // Each replaces any earlier value of the key, of any type, and takes effect at once. It is stored a moment later:
    // nothing waits for a disk. A value that cannot be stored remains in force, and storing it is tried again.
    virtual void setData(std::string_view key, std::string_view bytes) = 0;
    virtual void setBoolean(std::string_view key, bool value) = 0;
    virtual void setNumber(std::string_view key, double value) = 0;
    virtual void setString(std::string_view key, std::string_view text) = 0;

    /// Returns when everything set before is stored, or could not be. For the end of the program.
    virtual void saveNow() = 0;

    /// None while everything can be kept.
    virtual std::optional<PreferencesProblem> problem() const = 0;
    /// Runs the task when the problem changes or is over.
    [[nodiscard]] virtual Cancellation onProblemChanged(RunLoop::Task task) = 0;
};

} // namespace quenstal
