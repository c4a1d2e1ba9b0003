#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include <nlohmann/json.hpp>
#include <sys/types.h>

namespace quenstal {

/// The JSON file with the preferences. It is always replaced as a whole, under a lock beside it: readers see the old or
/// the new one, and a process killed in the middle loses nothing that was there before. Any thread.
class PreferencesFile {
public:
    // The program writes no file beyond these limits, and considers none valid.
    static constexpr std::size_t maximumBytes = std::size_t{1} << 20;
    static constexpr int maximumDepth = 16;
    /// How long a writer waits for another process to finish its own.
    static constexpr auto lockPatience = std::chrono::milliseconds(100);

    /// Tells one version of the file from the next.
    struct Version {
        ino_t inode = 0;
        off_t size = 0;
        std::int64_t modifiedAt = 0;
        bool operator==(const Version&) const = default;
    };

    enum class State {
        missing,
        valid,
        /// Read, and no preferences.
        notValid,
        /// Cannot be opened or read, or is no file.
        notReadable
    };

    struct Contents {
        State state = State::missing;
        /// An object: empty unless the state is valid.
        nlohmann::json values = nlohmann::json::object();
        /// None when nothing was read.
        std::optional<Version> version;
    };

    struct Saved {
        bool isSaved = false;
        /// What was found, and what it has become if that was saved.
        Contents contents;
    };

    /// `quenstal/preferences.json` in the user's configuration folder.
    static std::filesystem::path defaultPath();

    explicit PreferencesFile(std::filesystem::path path)
        : path_(std::move(path))
    {
    }

    const std::filesystem::path& path() const { return path_; }
    /// None if there is no file, or if that cannot be determined.
    std::optional<Version> version() const;
    Contents read() const;
    /// Where a file that is not valid is kept.
    std::filesystem::path aside() const { return beside(".broken"); }
    /// False when it cannot be.
    bool putAside() const;
    /// Writes the values over those that the file has by then. A file that is not valid is put aside; one that cannot
    /// be read is left alone.
    Saved save(const nlohmann::json& changes) const;

private:
    std::filesystem::path beside(const char* ending) const;
    bool replace(const nlohmann::json& values) const;

    std::filesystem::path path_;
};

} // namespace quenstal
