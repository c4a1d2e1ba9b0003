#include "QuenstalApp/NativeAdapters/SettingsAdapters.hpp"
#include "QuenstalCore/Models/Json.hpp"
#include "QuenstalSimulation/SimulatedCapturePermission.hpp"
#include "QuenstalSimulation/SimulatedPreferences.hpp"

#include <limits>
#include <string>

#include <gtest/gtest.h>

namespace quenstal {
namespace {

using Data = SimulatedPreferences::Data;

struct UserDefaultsEQProfileStoreTest : testing::Test {
    SimulatedPreferences preferences;
    UserDefaultsEQProfileStore store{preferences};
};

TEST_F(UserDefaultsEQProfileStoreTest, outputKeysBecomeURLSafeBase64WithoutPadding)
{
    struct Row {
        const char* outputKey;
        const char* suffix;
    };
    const Row rows[]{
        {"", ""},
        {"42", "NDI"},
        {"\xC3\xBF\xC3\xBE", "w7_Dvg"},
        {"f", "Zg"},
        {"foo", "Zm9v"},
        {"alsa_output.pci:0 hdmi", "YWxzYV9vdXRwdXQucGNpOjAgaGRtaQ"},
        {"\xFB\xEF\xBE", "----"},
    };
    for (const Row& row : rows) {
        SimulatedPreferences fresh;
        UserDefaultsEQProfileStore(fresh).setSoftwareProcessingPreferred(true, row.outputKey);
        UserDefaultsEQProfileStore(fresh).saveProfile({}, row.outputKey);
        EXPECT_TRUE(fresh.values().contains("Quenstal.EQ.SoftwareProcessing." + std::string(row.suffix)));
        EXPECT_TRUE(fresh.values().contains("Quenstal.EQ.Profile." + std::string(row.suffix)));
    }
}

TEST_F(UserDefaultsEQProfileStoreTest, aSavedProfileComesBackAndReplacesTheEarlierOne)
{
    EXPECT_EQ(store.profile("A"), std::nullopt);
    const EQProfile movie(true, EQPresetName::movie, -2);
    store.saveProfile({}, "A");
    store.saveProfile(movie, "A");
    EXPECT_EQ(store.profile("A"), movie);
    EXPECT_EQ(store.profile("a"), std::nullopt);
}

TEST_F(UserDefaultsEQProfileStoreTest, aProfileIsStoredAsItsJSONBytes)
{
    const EQProfile profile(true, EQPresetName::flat, -3);
    store.saveProfile(profile, "42");
    EXPECT_EQ(preferences.data("Quenstal.EQ.Profile.NDI"), encodeJSON(profile));
}

TEST_F(UserDefaultsEQProfileStoreTest, whatIsNoProfileReadsAsNoneAndStaysAsItIs)
{
    const SimulatedPreferences::Value values[]{
        Data{""}, Data{"not JSON"}, Data{"[]"}, Data{"{}"}, Data{"\xFF"}, std::string("text"), true};
    for (const auto& value : values) {
        if (const auto* data = std::get_if<Data>(&value))
            preferences.setData("Quenstal.EQ.Profile.NDI", data->bytes);
        else if (const auto* text = std::get_if<std::string>(&value))
            preferences.setString("Quenstal.EQ.Profile.NDI", *text);
        else
            preferences.setBoolean("Quenstal.EQ.Profile.NDI", true);
        EXPECT_EQ(store.profile("42"), std::nullopt);
        EXPECT_EQ(preferences.values().at("Quenstal.EQ.Profile.NDI"), value);
    }
}

TEST_F(UserDefaultsEQProfileStoreTest, aProfileThatCannotBeEncodedIsNotSaved)
{
    EQProfile broken;
    broken.preampDB = std::numeric_limits<double>::quiet_NaN();
    store.saveProfile(broken, "42");
    EXPECT_TRUE(preferences.values().empty());
}

TEST_F(UserDefaultsEQProfileStoreTest, thePreferenceBelongsToOneOutput)
{
    store.setSoftwareProcessingPreferred(true, "A");
    EXPECT_TRUE(store.softwareProcessingPreferred("A"));
    EXPECT_FALSE(store.softwareProcessingPreferred("B"));
    store.setSoftwareProcessingPreferred(false, "A");
    EXPECT_FALSE(store.softwareProcessingPreferred("A"));
}

TEST(MacPermissionProviderTest, accessibilityIsWhatTheSystemTrustsAndCaptureIsAlwaysGranted)
{
    SimulatedCapturePermission permission;
    MacPermissionProvider provider(permission);
    EXPECT_EQ(
        provider.currentPermissionState(), (PermissionState{PermissionStatus::denied, PermissionStatus::granted}));
    permission.setTrusted(true);
    EXPECT_EQ(provider.currentPermissionState(), PermissionState::allGranted());
    EXPECT_EQ(permission.prompts(), 0);
}

} // namespace
} // namespace quenstal
