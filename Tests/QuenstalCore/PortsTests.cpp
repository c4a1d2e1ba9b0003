#include "QuenstalCore/Ports.hpp"
#include "QuenstalCore/Printing.hpp"

#include <type_traits>

#include <gtest/gtest.h>

namespace quenstal {
namespace {

const AudioOutputDevice monitor{"42", "LG", AudioTransport::hdmi, false, "uid"};

/// An adapter that can change volume and nothing else.
class VolumeOnly final : public SoftwareVolumeControlling {
public:
    bool isAvailable(const AudioOutputDevice&) override { return true; }
    VolumeSnapshot readVolume(const AudioOutputDevice&) override { return VolumeSnapshot::fullScale(); }
    void setVolume(const VolumeSnapshot&, const AudioOutputDevice&) override { }
    void stopAll() override { }
};

TEST(SoftwareVolumeControllingTest, anAdapterWithoutReadLevelsYieldsZeroLevelsWithoutClipping)
{
    VolumeOnly adapter;
    SoftwareVolumeControlling& port = adapter;
    EXPECT_EQ(port.readLevels(monitor), SoundLevelSnapshot::zero());
    EXPECT_FALSE(port.readLevels(monitor).clipping);
}

TEST(SoftwareVolumeControllingTest, anAdapterWithoutSetEQProfileTakesAnyProfileSilently)
{
    VolumeOnly adapter;
    SoftwareVolumeControlling& port = adapter;
    EXPECT_NO_THROW(port.setEQProfile(EQProfile(true, EQPresetName::movie, 3), monitor));
}

TEST(PortTest, anInterfaceIsDestroyedThroughItsPointer)
{
    static_assert(std::has_virtual_destructor_v<EQProfileStoring>);
    static_assert(std::has_virtual_destructor_v<SoftwareVolumeControlling>);
    static_assert(!std::is_copy_constructible_v<Interface>);
}

TEST(InMemoryEQProfileStoreTest, aFreshStoreHasNoProfilesAndNoPreferences)
{
    InMemoryEQProfileStore store;
    for (const std::string_view key : {"", "uid", "another"}) {
        EXPECT_EQ(store.profile(key), std::nullopt);
        EXPECT_FALSE(store.softwareProcessingPreferred(key));
    }
}

TEST(InMemoryEQProfileStoreTest, savingTwiceUnderOneKeyKeepsTheSecondProfile)
{
    InMemoryEQProfileStore store;
    store.saveProfile(EQProfile(true, EQPresetName::voice, 0), "uid");
    store.saveProfile(EQProfile(false, EQPresetName::night, -2), "uid");
    EXPECT_EQ(store.profile("uid"), EQProfile(false, EQPresetName::night, -2));
}

TEST(InMemoryEQProfileStoreTest, keepsProfilesExactlyAsGiven)
{
    EQProfile odd = EQProfile::defaultProfile();
    odd.bands = {{9, 1, "odd", 0}};
    odd.preampDB = 99.1;
    InMemoryEQProfileStore store;
    store.saveProfile(odd, "uid");
    EXPECT_EQ(store.profile("uid"), odd);
}

TEST(InMemoryEQProfileStoreTest, keepsKeysApart)
{
    InMemoryEQProfileStore store;
    store.saveProfile(EQProfile(true, EQPresetName::voice, 0), "a");
    store.setSoftwareProcessingPreferred(true, "a");
    EXPECT_EQ(store.profile("b"), std::nullopt);
    EXPECT_EQ(store.profile("A"), std::nullopt);
    EXPECT_FALSE(store.softwareProcessingPreferred("b"));
    EXPECT_TRUE(store.softwareProcessingPreferred("a"));
}

TEST(InMemoryEQProfileStoreTest, theLastPreferenceCounts)
{
    InMemoryEQProfileStore store;
    store.setSoftwareProcessingPreferred(true, "uid");
    EXPECT_TRUE(store.softwareProcessingPreferred("uid"));
    store.setSoftwareProcessingPreferred(false, "uid");
    EXPECT_FALSE(store.softwareProcessingPreferred("uid"));
    EXPECT_EQ(store.profile("uid"), std::nullopt);
}

TEST(InMemoryEQProfileStoreTest, theKeyMayGoAwayAfterTheCall)
{
    InMemoryEQProfileStore store;
    {
        const std::string key(64, 'k');
        store.setSoftwareProcessingPreferred(true, key);
    }
    EXPECT_TRUE(store.softwareProcessingPreferred(std::string(64, 'k')));
}

} // namespace
} // namespace quenstal
