#include "core/plugin/plugin.h"

#include <gtest/gtest.h>

#include "testing/plugin/plugin_fixture.h"

namespace quorvin {
namespace {

using QuorvinPluginRegistration = PluginTest;

TEST_F(QuorvinPluginRegistration, AddsOneDelegateOnTheChannelQuorvin) {
  ASSERT_EQ(plugin.registrar.registrations.size(), 1u);
  EXPECT_EQ(plugin.registrar.registrations[0].channel->name(), "quorvin");
}

TEST_F(QuorvinPluginRegistration, AsksForTheMessengerFirstAndForNothingElse) {
  EXPECT_EQ(log.events(),
            (std::vector<std::string>{"registrar.messenger", "addMethodCallDelegate quorvin"}));
}

TEST_F(QuorvinPluginRegistration, MakesTheChannelOnTheRegistrarsMessenger) {
  EXPECT_EQ(&plugin.registrar.registrations[0].channel->binaryMessenger(),
            &plugin.registrar.fakeMessenger);
}

TEST_F(QuorvinPluginRegistration, LeavesTheMessengerToTheHost) {
  EXPECT_TRUE(plugin.registrar.fakeMessenger.handlers.empty());
}

TEST_F(QuorvinPluginRegistration, SharesItsChannelWithItsManager) {
  const auto channel = plugin.registrar.registrations[0].channel;
  EXPECT_EQ(SwiftQuorvinPluginPeer::channel(plugin.plugin()), channel);
  EXPECT_EQ(plugin.manager().channel(), channel);
}

TEST_F(QuorvinPluginRegistration, GivesTheManagerTheDefaultImageManager) {
  EXPECT_EQ(plugin.manager().imageManager(), &plugin.platform.imageManager);
}

TEST_F(QuorvinPluginRegistration, StartsWithAnEmptyCacheAndAFreeLock) {
  EXPECT_TRUE(plugin.manager().cachedIdentifiers().empty());
  EXPECT_FALSE(plugin.manager().lockIsHeld());
}

TEST_F(QuorvinPluginRegistration, MakesAPluginAndAManagerForEachEngine) {
  QuorvinPlugin::registerWithRegistrar(plugin.registrar);
  ASSERT_EQ(plugin.registrar.registrations.size(), 2u);
  auto& second = dynamic_cast<SwiftQuorvinPlugin&>(*plugin.registrar.registrations[1].delegate);
  EXPECT_NE(&second, &plugin.plugin());
  EXPECT_NE(SwiftQuorvinPluginPeer::manager(second),
            SwiftQuorvinPluginPeer::manager(plugin.plugin()));
}

TEST(QuorvinPluginWithoutAnImageManager, IsRegisteredAllTheSame) {
  PluginHarness plugin(failTheTest(), PluginHarness::Has::noImageManager);
  EXPECT_EQ(plugin.manager().imageManager(), nullptr);
}

}  // namespace
}  // namespace quorvin
