#include "QuenstalLinux/Session/PreferencesFile.hpp"

#include "QuenstalLinux/FileDescriptor.hpp"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <string_view>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace quenstal {

namespace {

PreferencesFile::Version versionFrom(const struct stat& status)
{
    const std::int64_t modifiedAt = status.st_mtim.tv_sec * 1'000'000'000 + status.st_mtim.tv_nsec;
    return {status.st_ino, status.st_size, modifiedAt};
}

/// None when it cannot be read to its end. No more than one byte beyond the limit is.
std::optional<std::string> textOf(const FileDescriptor& file)
{
    std::string text;
    std::array<char, 16384> piece{};
    while (text.size() <= PreferencesFile::maximumBytes) {
        const ssize_t size = read(file.get(), piece.data(), piece.size());
        if (size == 0)
            return text;
        if (size > 0)
            text.append(piece.data(), static_cast<std::size_t>(size));
        else if (errno != EINTR)
            return std::nullopt;
    }
    return text;
}

/// No object when the text is no JSON, or longer or nested deeper than any preferences are.
nlohmann::json valuesIn(const std::string& text)
{
    if (text.size() > PreferencesFile::maximumBytes)
        return nullptr;
    bool isTooDeep = false;
    const auto keep = [&isTooDeep](int depth, nlohmann::json::parse_event_t, const nlohmann::json&) {
        isTooDeep = isTooDeep || depth > PreferencesFile::maximumDepth;
        return !isTooDeep;
    };
    nlohmann::json values = nlohmann::json::parse(text, keep, false);
    return isTooDeep ? nullptr : std::move(values);
}

/// None if it cannot be taken in time.
std::optional<FileDescriptor> locked(const std::filesystem::path& path)
{
    FileDescriptor file(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NONBLOCK, 0600));
    const auto limit = std::chrono::steady_clock::now() + PreferencesFile::lockPatience;
    while (file && flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
        if (std::chrono::steady_clock::now() >= limit)
            return std::nullopt;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return file ? std::optional(std::move(file)) : std::nullopt;
}

bool writeAll(const FileDescriptor& file, std::string_view rest)
{
    while (!rest.empty()) {
        const ssize_t written = write(file.get(), rest.data(), rest.size());
        if (written < 0 && errno != EINTR)
            return false;
        rest.remove_prefix(written < 0 ? 0 : static_cast<std::size_t>(written));
    }
    return true;
}

} // namespace

std::filesystem::path PreferencesFile::defaultPath()
{
    const char* configuration = std::getenv("XDG_CONFIG_HOME");
    const char* home = std::getenv("HOME");
    std::filesystem::path folder;
    if (configuration && configuration[0] == '/')
        folder = configuration;
    else
        folder = std::filesystem::path(home ? home : "/") / ".config";
    return folder / "quenstal" / "preferences.json";
}

std::filesystem::path PreferencesFile::beside(const char* ending) const
{
    std::filesystem::path path = path_;
    path += ending;
    return path;
}

std::optional<PreferencesFile::Version> PreferencesFile::version() const
{
    struct stat status { };
    return stat(path_.c_str(), &status) == 0 ? std::optional(versionFrom(status)) : std::nullopt;
}

PreferencesFile::Contents PreferencesFile::read() const
{
    Contents contents;
    // Opening something other than a regular file may block.
    const FileDescriptor file(open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (!file) {
        contents.state = errno == ENOENT || errno == ENOTDIR ? State::missing : State::notReadable;
        return contents;
    }
    struct stat status { };
    contents.state = State::notReadable;
    if (fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))
        return contents;
    const auto text = textOf(file);
    if (!text)
        return contents;
    contents.version = versionFrom(status);
    nlohmann::json values = valuesIn(*text);
    contents.state = values.is_object() ? State::valid : State::notValid;
    if (contents.state == State::valid)
        contents.values = std::move(values);
    return contents;
}

bool PreferencesFile::putAside() const
{
    return rename(path_.c_str(), aside().c_str()) == 0;
}

PreferencesFile::Saved PreferencesFile::save(const nlohmann::json& changes) const
{
    std::error_code ignored; // Opening the lock fails just as well.
    std::filesystem::create_directories(path_.parent_path(), ignored);
    const auto lock = locked(beside(".lock"));
    if (!lock)
        return {};
    Saved saved{false, read()};
    if (saved.contents.state == State::notReadable)
        return saved;
    if (saved.contents.state == State::notValid && !putAside())
        return saved;
    nlohmann::json values = saved.contents.values;
    values.update(changes);
    saved.isSaved = replace(values);
    if (saved.isSaved) {
        saved.contents.values = std::move(values);
        saved.contents.version = version();
    }
    return saved;
}

/// Not synchronised to the medium: that only matters in a power failure.
bool PreferencesFile::replace(const nlohmann::json& values) const
{
    const std::string text = values.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
    if (text.size() > maximumBytes)
        return false;
    const std::filesystem::path next = beside(".new");
    unlink(next.c_str()); // Whatever it is: no other process writes it while we have the lock.
    const FileDescriptor file(open(next.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    const bool isReplaced = file && writeAll(file, text) && rename(next.c_str(), path_.c_str()) == 0;
    if (!isReplaced)
        unlink(next.c_str());
    return isReplaced;
}

} // namespace quenstal
