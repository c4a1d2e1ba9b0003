#pragma once

#include "QuenstalPlatform/Preferences.hpp"

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>

#include <nlohmann/json.hpp>
#include <sys/stat.h>

namespace quenstal {

/// Preferences in one JSON file. A write holds a lock beside the file, reads what other processes wrote meanwhile,
/// and replaces the file as a whole: readers see the old or the new one, and a process killed in the middle loses
/// nothing that was written before. Main thread.
class FilePreferences final : public Preferences {
public:
    /// How long a write waits for another process to finish its own. Then the value goes out with the next write.
    static constexpr auto lockPatience = std::chrono::milliseconds(20);

    /// `quenstal/preferences.json` in the user's configuration folder.
    static std::filesystem::path defaultPath();

    explicit FilePreferences(std::filesystem::path path);

    std::optional<std::string> data(std::string_view key) override;
    bool boolean(std::string_view key) override;
    double number(std::string_view key) override;
    std::optional<std::string> string(std::string_view key) override;
    void setData(std::string_view key, std::string_view bytes) override;
    void setBoolean(std::string_view key, bool value) override;
    void setNumber(std::string_view key, double value) override;
    void setString(std::string_view key, std::string_view text) override;

    /// What went wrong since the last time, in a sentence for the user: once for each file that could not be read and
    /// once until a write succeeds again.
    std::optional<std::string> takeProblem();

private:
    /// Tells one version of the file from the next.
    struct Version {
        ino_t inode = 0;
        off_t size = 0;
        std::int64_t modifiedAt = 0;
        bool operator==(const Version&) const = default;
    };

    std::optional<Version> versionOnDisk() const;
    void reload();
    void readFile();
    void keepBrokenFileAside(const std::string& why);
    const nlohmann::json* find(std::string_view key);
    void set(std::string_view key, nlohmann::json value);
    void save();
    bool replaceFile() const;

    std::filesystem::path path_;
    std::optional<Version> version_;
    nlohmann::json values_ = nlohmann::json::object();
    /// Set here and not yet in the file.
    nlohmann::json unsaved_ = nlohmann::json::object();
    std::optional<std::string> problem_;
    bool failedToSave_ = false;
};

} // namespace quenstal
