#include "QuenstalLinux/Session/FilePreferences.hpp"

#include "QuenstalLinux/FileDescriptor.hpp"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace quenstal {

namespace {

constexpr const char* dataMember = "data";

std::string hexadecimal(std::string_view bytes)
{
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (const char byte : bytes) {
        text += digits[static_cast<unsigned char>(byte) >> 4];
        text += digits[static_cast<unsigned char>(byte) & 15];
    }
    return text;
}

int digitValue(char digit)
{
    if (digit >= '0' && digit <= '9')
        return digit - '0';
    return digit >= 'a' && digit <= 'f' ? digit - 'a' + 10 : -1;
}

std::optional<std::string> bytesOf(std::string_view text)
{
    std::string bytes;
    for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
        const int high = digitValue(text[i]);
        const int low = digitValue(text[i + 1]);
        if (high < 0 || low < 0)
            return std::nullopt;
        bytes += static_cast<char>(high << 4 | low);
    }
    return text.size() % 2 == 0 ? std::optional(bytes) : std::nullopt;
}

/// Waits a short while for the lock; none when it is not to be had.
std::optional<FileDescriptor> lockFile(const std::filesystem::path& path)
{
    FileDescriptor file(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    const auto limit = std::chrono::steady_clock::now() + FilePreferences::lockPatience;
    while (file && flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
        if (std::chrono::steady_clock::now() >= limit)
            return std::nullopt;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return file ? std::optional(std::move(file)) : std::nullopt;
}

} // namespace

std::filesystem::path FilePreferences::defaultPath()
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

FilePreferences::FilePreferences(std::filesystem::path path)
    : path_(std::move(path))
{
}

std::optional<FilePreferences::Version> FilePreferences::versionOnDisk() const
{
    struct stat status { };
    if (stat(path_.c_str(), &status) != 0)
        return std::nullopt;
    const std::int64_t modifiedAt = status.st_mtim.tv_sec * 1'000'000'000 + status.st_mtim.tv_nsec;
    return Version{status.st_ino, status.st_size, modifiedAt};
}

void FilePreferences::reload()
{
    const auto version = versionOnDisk();
    if (version == version_)
        return;
    version_ = version;
    values_ = nlohmann::json::object();
    if (version)
        readFile();
    values_.update(unsaved_);
}

void FilePreferences::readFile()
{
    std::ifstream file(path_, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    nlohmann::json read = nlohmann::json::parse(text, nullptr, false);
    if (read.is_object())
        values_ = std::move(read);
    else
        keepBrokenFileAside(file ? "is not valid" : "cannot be read");
}

void FilePreferences::keepBrokenFileAside(const std::string& why)
{
    std::filesystem::path aside = path_;
    aside += ".broken";
    std::error_code failed;
    std::filesystem::rename(path_, aside, failed);
    version_.reset();
    problem_ = "The file with Quenstal's preferences " + why + ". Quenstal starts with its defaults"
        + (failed ? "." : "; the old file is kept as " + aside.string() + ".");
}

std::optional<std::string> FilePreferences::takeProblem()
{
    reload();
    return std::exchange(problem_, std::nullopt);
}

const nlohmann::json* FilePreferences::find(std::string_view key)
{
    reload();
    const auto found = values_.find(std::string(key));
    return found == values_.end() ? nullptr : &*found;
}

std::optional<std::string> FilePreferences::data(std::string_view key)
{
    const nlohmann::json* value = find(key);
    if (!value || !value->is_object() || !value->contains(dataMember) || !value->at(dataMember).is_string())
        return std::nullopt;
    return bytesOf(value->at(dataMember).get_ref<const std::string&>());
}

bool FilePreferences::boolean(std::string_view key)
{
    const nlohmann::json* value = find(key);
    return value && value->is_boolean() && value->get<bool>();
}

double FilePreferences::number(std::string_view key)
{
    const nlohmann::json* value = find(key);
    return value && value->is_number() ? value->get<double>() : 0;
}

std::optional<std::string> FilePreferences::string(std::string_view key)
{
    const nlohmann::json* value = find(key);
    return value && value->is_string() ? std::optional(value->get<std::string>()) : std::nullopt;
}

void FilePreferences::setData(std::string_view key, std::string_view bytes)
{
    set(key, {{dataMember, hexadecimal(bytes)}});
}

void FilePreferences::setBoolean(std::string_view key, bool value)
{
    set(key, value);
}

void FilePreferences::setNumber(std::string_view key, double value)
{
    set(key, value);
}

void FilePreferences::setString(std::string_view key, std::string_view text)
{
    set(key, std::string(text));
}

void FilePreferences::set(std::string_view key, nlohmann::json value)
{
    unsaved_[std::string(key)] = value;
    values_[std::string(key)] = std::move(value);
    save();
}

void FilePreferences::save()
{
    std::error_code ignored; // Opening the lock fails just as well.
    std::filesystem::create_directories(path_.parent_path(), ignored);
    std::filesystem::path lockPath = path_;
    lockPath += ".lock";
    const auto lock = lockFile(lockPath);
    bool saved = false;
    if (lock) {
        reload();
        saved = replaceFile();
    }
    if (saved) {
        unsaved_ = nlohmann::json::object();
        version_ = versionOnDisk();
    } else if (!failedToSave_) {
        problem_ = "Quenstal's preferences cannot be saved in " + path_.parent_path().string()
            + ". Changes last until Quenstal ends.";
    }
    failedToSave_ = !saved;
}

/// Not synchronised to the medium: that would hold up the main thread for every key press, and only a loss of power
/// could tell the difference.
bool FilePreferences::replaceFile() const
{
    std::filesystem::path next = path_;
    next += ".new";
    std::string text = values_.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
    {
        FileDescriptor file(open(next.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
        if (!file)
            return false;
        std::string_view rest = text;
        while (!rest.empty()) {
            const ssize_t written = write(file.get(), rest.data(), rest.size());
            if (written < 0 && errno != EINTR)
                return false;
            rest.remove_prefix(written < 0 ? 0 : static_cast<std::size_t>(written));
        }
    }
    return rename(next.c_str(), path_.c_str()) == 0;
}

} // namespace quenstal
