// Changes of a library as they come, and such as nobody would think of.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "platform_linux/library/catalogue/catalogue.h"
#include "testing/platform/testing_library.h"

namespace quorvin {

class Randomness {
 public:
  explicit Randomness(unsigned seed) : generator_(seed) {}
  std::int64_t below(std::int64_t end) {
    return std::uniform_int_distribution<std::int64_t>(0, end - 1)(generator_);
  }
  bool oneIn(std::int64_t n) { return below(n) == 0; }

 private:
  std::mt19937_64 generator_;
};

/// Does to a library what is done to libraries, and more.
class LibraryChanger {
 public:
  LibraryChanger(const std::string& library, unsigned seed);

  void changeMuch();

 private:
  std::string some();
  std::vector<std::int64_t> rowsOfSome(Database& database, const std::string& condition);
  std::string someAlbum();
  void change(const std::function<bool(Database&)>& body);
  void changeOnce();
  void trash();
  void restore();
  void add();
  void alter();
  void drop();
  void changeAlbums();
  void settleBursts();

  Randomness random_;
  std::shared_ptr<Catalogue> catalogue_;
  Gardener garden_;
};

/// The same in a process of its own, so often as it is told to.
class OtherChanger {
 public:
  OtherChanger(const std::string& library, unsigned seed);
  ~OtherChanger();
  OtherChanger(const OtherChanger&) = delete;
  OtherChanger& operator=(const OtherChanger&) = delete;

  void begin();
  void finish();

 private:
  int orders_[2] = {};
  int reports_[2] = {};
  pid_t child_ = 0;
};

}  // namespace quorvin
