#include "tool/serve/reading/own_origin.h"

#include <gtest/gtest.h>

namespace quorvin {
namespace {

TEST(OwnHost, IsAnAddressOfThisMachineWithThePort) {
  for (const char* host : {"127.0.0.1:8080", "localhost:8080", "[::1]:8080"}) {
    EXPECT_TRUE(isOwnHost(host, 8080)) << host;
    EXPECT_FALSE(isOwnHost(host, 8081)) << host;
    EXPECT_FALSE(isOwnHost(host, 80)) << host;
  }
}

TEST(OwnHost, IsNoOtherName) {
  for (const char* host :
       {"", ":8080", "127.0.0.1", "localhost", "example.org:8080", "127.0.0.1.example.org:8080",
        "localhost.example.org:8080", "xlocalhost:8080", "user@127.0.0.1:8080", "::1:8080",
        "127.0.0.1:8080 ", " 127.0.0.1:8080", "127.0.0.1:08080", "127.0.0.1:8080,example.org:8080",
        "127.0.0.2:8080", "0.0.0.0:8080"}) {
    EXPECT_FALSE(isOwnHost(host, 8080)) << host;
  }
}

TEST(OwnOrigin, IsAPageOfThisServer) {
  EXPECT_TRUE(isOwnOrigin("http://127.0.0.1:8080", 8080));
  EXPECT_TRUE(isOwnOrigin("http://localhost:8080", 8080));
  for (const char* origin :
       {"", "null", "http://", "https://127.0.0.1:8080", "http://127.0.0.1:8081",
        "http://127.0.0.1", "http://example.org:8080", "127.0.0.1:8080", "http://127.0.0.1:8080/",
        "file://", "HTTP://example.org"}) {
    EXPECT_FALSE(isOwnOrigin(origin, 8080)) << origin;
  }
}

}  // namespace
}  // namespace quorvin
