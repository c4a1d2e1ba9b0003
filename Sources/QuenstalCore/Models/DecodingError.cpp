#include "QuenstalCore/Models/DecodingError.hpp"

#include <utility>

namespace quenstal {

DecodingError::DecodingError(Kind kind, std::string description)
    : kind_(kind)
    , description_(std::move(description))
    , text_(description_)
{
}

void DecodingError::enclose(std::string_view step)
{
    const bool isKey = !path_.empty() && path_.front() != '[';
    path_ = std::string(step) + (isKey ? "." : "") + path_;
    text_ = path_ + ": " + description_;
}

} // namespace quenstal
