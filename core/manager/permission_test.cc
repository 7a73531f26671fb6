#include <gtest/gtest.h>

#include <optional>
#include <thread>

#include "testing/plugin/plugin_fixture.h"

namespace quorvin {
namespace {

using Names = std::vector<std::string>;

constexpr PHAuthorizationStatus kEveryStatus[] = {
    PHAuthorizationStatus::notDetermined, PHAuthorizationStatus::restricted,
    PHAuthorizationStatus::denied, PHAuthorizationStatus::authorized,
    PHAuthorizationStatus::limited};

using Permission = PluginTest;

TEST_F(Permission, IsGrantedAtOnceWhenAuthorized) {
  log.clear();
  EXPECT_EQ(plugin.answer("getPermission").value(), Value(true));
  EXPECT_EQ(log.events(), (Names{"authorizationStatus", "main.async", "reply getPermission"}));
}

TEST_F(Permission, IsAskedForUnderEveryOtherStatus) {
  for (const auto status : kEveryStatus) {
    if (status == PHAuthorizationStatus::authorized) continue;
    SCOPED_TRACE(static_cast<int>(status));
    library.status = status;
    library.authorizationRequests.clear();
    log.clear();
    const RecordedReply reply = plugin.answer("getPermission");
    EXPECT_EQ(log.events(), (Names{"authorizationStatus", "requestAuthorization"}));
    EXPECT_EQ(reply.answerCount(), 0u);
    library.authorizationRequests.at(0)(status);
    plugin.runToEnd();
    EXPECT_EQ(reply.value(), Value(false));
  }
}

TEST_F(Permission, FollowsTheAnswerOfTheUser) {
  library.status = PHAuthorizationStatus::notDetermined;
  for (const auto status : kEveryStatus) {
    SCOPED_TRACE(static_cast<int>(status));
    library.authorizationRequests.clear();
    const RecordedReply reply = plugin.answer("getPermission");
    library.authorizationRequests.at(0)(status);
    plugin.runToEnd();
    EXPECT_EQ(reply.value(), Value(status == PHAuthorizationStatus::authorized));
  }
}

TEST_F(Permission, AnUnknownStatusGrantsNothing) {
  library.status = static_cast<PHAuthorizationStatus>(7);
  const RecordedReply reply = plugin.answer("getPermission");
  library.authorizationRequests.at(0)(static_cast<PHAuthorizationStatus>(7));
  plugin.runToEnd();
  EXPECT_EQ(reply.value(), Value(false));
}

TEST_F(Permission, IsAnsweredOnTheMainQueueWhateverThreadTheUserAnswersOn) {
  library.status = PHAuthorizationStatus::notDetermined;
  const RecordedReply reply = plugin.answer("getPermission");
  std::thread([this] {
    library.authorizationRequests.at(0)(PHAuthorizationStatus::authorized);
  }).join();
  EXPECT_EQ(reply.answerCount(), 0u);
  plugin.runToEnd();
  EXPECT_EQ(reply.value(), Value(true));
  EXPECT_EQ(reply.answer().thread, std::this_thread::get_id());
}

TEST_F(Permission, ReadsNoArguments) {
  EXPECT_EQ(plugin.answer("getPermission", List{Value(1)}).value(), Value(true));
}

TEST_F(Permission, TellsACallbackTheSame) {
  ImageManager& manager = *SwiftQuorvinPluginPeer::manager(plugin.plugin());
  std::optional<bool> granted;
  manager.getPermissionIfNecessary([&granted](bool answer) { granted = answer; });
  EXPECT_EQ(granted, true);

  granted.reset();
  library.status = PHAuthorizationStatus::limited;
  manager.getPermissionIfNecessary([&granted](bool answer) { granted = answer; });
  EXPECT_EQ(granted, std::nullopt);
  library.authorizationRequests.at(0)(PHAuthorizationStatus::limited);
  EXPECT_EQ(granted, false);
}

}  // namespace
}  // namespace quorvin
