#include "QuenstalLinux/Session/FilePreferences.hpp"

#include <string_view>
#include <utility>

#include <system_error>

namespace quenstal {

namespace {

using Kind = PreferencesProblem::Kind;
using State = PreferencesFile::State;

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

} // namespace

/// What the thread works on. It alone touches `saved` until it has ended.
struct FilePreferences::Saving {
    nlohmann::json changes;
    PreferencesFile::Saved saved;
};

FilePreferences::FilePreferences(RunLoop& runLoop, std::filesystem::path path)
    : runLoop_(runLoop)
    , file_(std::move(path))
    , problemChanged_(runLoop)
{
}

FilePreferences::~FilePreferences()
{
    saveNow();
}

void FilePreferences::reload()
{
    const auto version = file_.version();
    if (version && version == version_)
        return;
    PreferencesFile::Contents contents = file_.read();
    // What was read before holds until it can be read again.
    if (contents.state == State::notReadable) {
        tell(Kind::notReadable);
        return;
    }
    const bool isPutAside = contents.state == State::notValid && file_.putAside();
    if (contents.state == State::notValid)
        tell(isPutAside ? Kind::notValid : Kind::notReadable);
    else if (problem_ && problem_->kind == Kind::notReadable)
        tellThatAllIsWell();
    adopt(std::move(contents));
}

void FilePreferences::adopt(PreferencesFile::Contents contents)
{
    values_ = std::move(contents.values);
    version_ = contents.version;
    values_.update(unsaved_);
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
    saveSoon();
}

/// A moment after the first change and not after the last: a held key must not put it off.
void FilePreferences::saveSoon()
{
    if (!saving_ && !nextSave_)
        nextSave_ = runLoop_.after(saveDelay, [this] { startSaving(); });
}

void FilePreferences::startSaving()
{
    nextSave_.reset();
    retry_.reset();
    saving_ = std::make_shared<Saving>(Saving{unsaved_, {}});
    try {
        saver_ = std::thread([this, saving = saving_] {
            saving->saved = file_.save(saving->changes);
            runLoop_.post([this, waiting = std::weak_ptr(saving)] {
                if (!waiting.expired())
                    endSaving();
            });
        });
    } catch (const std::system_error&) {
        endSaving(); // No thread could be started: nothing was saved.
    }
}

void FilePreferences::endSaving()
{
    if (saver_.joinable())
        saver_.join();
    const auto saving = std::exchange(saving_, nullptr);
    conclude(saving->changes, std::move(saving->saved));
}

void FilePreferences::conclude(const nlohmann::json& changes, PreferencesFile::Saved saved)
{
    retry_.reset();
    if (!saved.isSaved) {
        tell(saved.contents.state == State::notReadable ? Kind::notReadable : Kind::notSaved);
        retry_ = runLoop_.after(retryPause, [this] { startSaving(); });
        return;
    }
    for (const auto& [key, value] : changes.items()) {
        if (unsaved_[key] == value)
            unsaved_.erase(key);
    }
    if (saved.contents.state == State::notValid)
        tell(Kind::notValid);
    else
        tellThatAllIsWell();
    adopt(std::move(saved.contents));
    if (!unsaved_.empty())
        saveSoon();
}

void FilePreferences::saveNow()
{
    if (saving_)
        endSaving();
    nextSave_.reset();
    if (!unsaved_.empty())
        conclude(nlohmann::json(unsaved_), file_.save(unsaved_));
}

void FilePreferences::tell(Kind kind)
{
    // Nothing is saved either while the file cannot be read.
    const bool isTold = problem_ && (problem_->kind == kind || problem_->kind == Kind::notReadable);
    if (isTold && kind != Kind::notValid)
        return;
    problem_ = {kind, (kind == Kind::notValid ? file_.aside() : file_.path()).string()};
    problemChanged_.notify();
}

/// A file that was put aside stays there, and is reported for as long as the program runs.
void FilePreferences::tellThatAllIsWell()
{
    if (!problem_ || problem_->kind == Kind::notValid)
        return;
    problem_.reset();
    problemChanged_.notify();
}

} // namespace quenstal
