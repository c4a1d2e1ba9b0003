// Whatever the text is, decoding yields a value or a DecodingError. A value has a JSON form again, which decodes to
// the same value. The build names the models in FUZZED_MODELS.

#include "QuenstalCore/Models/Json.hpp"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string_view>

namespace {

template <typename Model>
std::optional<Model> decoded(std::string_view text)
{
    try {
        return quenstal::decodeJSON<Model>(text);
    } catch (const quenstal::DecodingError&) {
        return std::nullopt;
    }
}

template <typename Model>
void tryDecoding(std::string_view text)
{
    const std::optional<Model> value = decoded<Model>(text);
    if (value && !(quenstal::decodeJSON<Model>(quenstal::encodeJSON(*value)) == *value))
        std::abort();
}

template <typename... Models>
void tryDecodingEach(std::string_view text)
{
    (tryDecoding<Models>(text), ...);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace quenstal;
    tryDecodingEach<FUZZED_MODELS>({reinterpret_cast<const char*>(data), size});
    return 0;
}
