#include "QuenstalCore/Ports.hpp"

namespace quenstal {

void SoftwareVolumeControlling::setEQProfile(const EQProfile&, const AudioOutputDevice&) { }

SoundLevelSnapshot SoftwareVolumeControlling::readLevels(const AudioOutputDevice&)
{
    return SoundLevelSnapshot::zero();
}

std::optional<EQProfile> InMemoryEQProfileStore::profile(std::string_view key)
{
    const auto stored = profiles_.find(key);
    return stored == profiles_.end() ? std::nullopt : std::optional(stored->second);
}

void InMemoryEQProfileStore::saveProfile(const EQProfile& profile, std::string_view key)
{
    profiles_.insert_or_assign(std::string(key), profile);
}

bool InMemoryEQProfileStore::softwareProcessingPreferred(std::string_view key)
{
    const auto stored = softwarePreferences_.find(key);
    return stored != softwarePreferences_.end() && stored->second;
}

void InMemoryEQProfileStore::setSoftwareProcessingPreferred(bool preferred, std::string_view key)
{
    softwarePreferences_.insert_or_assign(std::string(key), preferred);
}

} // namespace quenstal
