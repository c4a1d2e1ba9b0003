#pragma once

#include <exception>
#include <string>
#include <string_view>

namespace quenstal {

/// Why a value could not be read from JSON: what kind of fault, where, and what was found there.
class DecodingError : public std::exception {
public:
    enum class Kind {
        /// Not JSON at all, or text after it.
        corruptedData,
        /// A required key is missing.
        missingKey,
        /// A value of another type, or a number that does not fit.
        typeMismatch,
        /// A text that is none of an enumeration's raw values.
        unknownRawValue,
    };

    DecodingError(Kind kind, std::string description);

    Kind kind() const { return kind_; }
    /// Keys and indices from the root to the fault, as in "bands[2].gainDB"; empty for the root itself.
    const std::string& path() const { return path_; }
    const std::string& description() const { return description_; }
    /// Path and description in one line.
    const char* what() const noexcept override { return text_.c_str(); }

    /// Used while the error travels up: puts the enclosing key or "[index]" in front of the path.
    void enclose(std::string_view step);

private:
    Kind kind_;
    std::string path_;
    std::string description_;
    std::string text_;
};

/// A value that JSON cannot hold: a number that is not finite, or a text that is not UTF-8.
class EncodingError : public std::exception {
public:
    explicit EncodingError(std::string description)
        : description_(std::move(description))
    {
    }
    const char* what() const noexcept override { return description_.c_str(); }

private:
    std::string description_;
};

} // namespace quenstal
