#pragma once

#include "QuenstalLinux/Session/PreferencesFile.hpp"
#include "QuenstalPlatform/Notifier.hpp"
#include "QuenstalPlatform/Preferences.hpp"

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include <nlohmann/json.hpp>

namespace quenstal {

/// Preferences in one file. A new value takes effect at once and is saved on a separate thread, together with all
/// others set at about the same time; if the process is killed, only these are lost. Main thread.
class FilePreferences final : public Preferences {
public:
    /// How long changes are collected before they are saved.
    static constexpr auto saveDelay = std::chrono::milliseconds(500);
    /// How long until what could not be saved is tried again.
    static constexpr auto retryPause = std::chrono::seconds(10);

    /// The run loop outlives it.
    FilePreferences(RunLoop& runLoop, std::filesystem::path path);
    /// Saves what is not saved yet.
    ~FilePreferences() override;

    std::optional<std::string> data(std::string_view key) override;
    bool boolean(std::string_view key) override;
    double number(std::string_view key) override;
    std::optional<std::string> string(std::string_view key) override;
    void setData(std::string_view key, std::string_view bytes) override;
    void setBoolean(std::string_view key, bool value) override;
    void setNumber(std::string_view key, double value) override;
    void setString(std::string_view key, std::string_view text) override;
    void saveNow() override;

    std::optional<PreferencesProblem> problem() const override { return problem_; }
    [[nodiscard]] Cancellation onProblemChanged(RunLoop::Task task) override
    {
        return problemChanged_.add(std::move(task));
    }

private:
    struct Saving;

    void reload();
    const nlohmann::json* find(std::string_view key);
    void set(std::string_view key, nlohmann::json value);
    void adopt(PreferencesFile::Contents contents);
    void saveSoon();
    void startSaving();
    void endSaving();
    void conclude(const nlohmann::json& changes, PreferencesFile::Saved saved);
    void tell(PreferencesProblem::Kind kind);
    void tellThatAllIsWell();

    RunLoop& runLoop_;
    const PreferencesFile file_;
    /// Of the file that the values are from.
    std::optional<PreferencesFile::Version> version_;
    nlohmann::json values_ = nlohmann::json::object();
    /// Set here and not known to be in the file.
    nlohmann::json unsaved_ = nlohmann::json::object();
    std::optional<PreferencesProblem> problem_;
    Notifier<> problemChanged_;
    Cancellation nextSave_;
    Cancellation retry_;
    std::shared_ptr<Saving> saving_;
    std::thread saver_;
};

} // namespace quenstal
