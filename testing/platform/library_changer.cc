#include "testing/platform/library_changer.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform_linux/library/catalogue/album_rows.h"
#include "platform_linux/library/catalogue/burst_rows.h"
#include "platform_linux/library/catalogue/trash_rows.h"

namespace quorvin {
namespace {

std::shared_ptr<Catalogue> openCatalogueOf(const std::string& library) {
  auto opened =
      Library::open({.path = library, .authorization = PHAuthorizationStatus::authorized});
  return (*opened)->catalogue();
}

}  // namespace

LibraryChanger::LibraryChanger(const std::string& library, unsigned seed)
    : random_(seed), catalogue_(openCatalogueOf(library)), garden_(library) {}

void LibraryChanger::changeMuch() {
  for (int i = 0; i < 12; ++i) changeOnce();
}

// Assets that lie together, or are strewn over the library.
std::string LibraryChanger::some() {
  const std::int64_t last = garden_.integer("SELECT max(id) FROM assets");
  const std::int64_t first = random_.below(last);
  const std::string from = std::to_string(first);
  if (random_.oneIn(4)) return "id % 211 = " + std::to_string(random_.below(211));
  const std::int64_t many = random_.oneIn(6) ? 1500 : 20;
  return "id BETWEEN " + from + " AND " + std::to_string(first + random_.below(many));
}

std::vector<std::int64_t> LibraryChanger::rowsOfSome(Database& database,
                                                     const std::string& condition) {
  std::vector<std::int64_t> rows;
  Statement found = database.prepare("SELECT id FROM assets WHERE " + condition + " AND " + some());
  while (found.next()) rows.push_back(found.integer(0));
  return rows;
}

void LibraryChanger::change(const std::function<bool(Database&)>& body) {
  const Done done = catalogue_->change([&body](Database& database) -> Done {
    if (body(database)) return Null{};
    return database.lastError("the test's change failed");
  });
  EXPECT_TRUE(done) << done.error().sentence();
}

void LibraryChanger::trash() {
  change([this](Database& database) {
    return trashAssets(database, listOfRows(rowsOfSome(database, "trashed_ns IS NULL")));
  });
}

void LibraryChanger::restore() {
  change([this](Database& database) {
    std::vector<std::string> identifiers;
    {
      Statement found =
          database.prepare("SELECT ident FROM assets WHERE trashed_ns IS NOT NULL AND " + some());
      while (found.next()) identifiers.emplace_back(found.text(0));
    }
    return static_cast<bool>(restoreAssets(database, identifiers));
  });
}

void LibraryChanger::add() {
  const std::string many = std::to_string(random_.oneIn(3) ? 700 : 5);
  const std::string salt = std::to_string(random_.below(1'000'000'000));
  garden_.run(
      "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < " + many +
      ") INSERT INTO assets(ident, media_type, subtypes, created_ns, favorite, burst_id,"
      " represents, raw) SELECT lower(hex(randomblob(18))), iif(i % 50 = 0, 3, 1 + (i % 40 = 0)),"
      " iif(i % 3 = 0, 1 << (i % 20), 0), nullif(" +
      salt +
      " * i % 900, 7), i % 13 = 0, iif(i % 31 = 0, 'burst ' || i % 7, NULL), i % 62 = 0,"
      " i % 17 = 0 FROM n");
}

void LibraryChanger::alter() {
  static const std::vector<std::string> kAlterations = {
      "favorite = 1 - favorite",
      "hidden = 1 - hidden",
      "created_ns = id * 7919 % 1000",
      "created_ns = NULL",
      "media_type = (media_type + 1) % 4",
      "subtypes = subtypes << 1 & 1048575 | 1",
      "burst_id = 'burst ' || id % 5, represents = id % 2",
      "burst_id = NULL",
      "burst_sel = burst_sel + 1 & 3",
      "visible = 1 - visible",
      "front_camera = 1, animated = 1 - animated, raw = 1",
      "trashed_ns = iif(trashed_ns IS NULL, 1, NULL)",
  };
  const auto which =
      static_cast<std::size_t>(random_.below(static_cast<std::int64_t>(kAlterations.size())));
  garden_.run("UPDATE assets SET " + kAlterations[which] + " WHERE " + some());
  // `visible` says the same as the others again.
  garden_.run(
      "UPDATE assets SET visible = 1 - visible WHERE visible <>"
      " (burst_id IS NULL OR represents OR (burst_sel & 2) <> 0)");
}

void LibraryChanger::drop() {
  if (random_.oneIn(2)) garden_.run("UPDATE assets SET trashed_ns = 1 WHERE " + some());
  garden_.run("DELETE FROM assets WHERE " + some());
}

std::string LibraryChanger::someAlbum() {
  return garden_.text("SELECT id FROM collections WHERE type = 1 ORDER BY id LIMIT 1 OFFSET " +
                      std::to_string(random_.below(garden_.integer(
                          "SELECT max(1, count(*)) FROM collections WHERE type = 1"))));
}

void LibraryChanger::changeAlbums() {
  const std::string album = someAlbum();
  if (album.empty() || random_.oneIn(8)) {
    garden_.plantAlbum("Album");
  } else if (random_.oneIn(20)) {
    garden_.run("DELETE FROM collections WHERE id = " + album);
  } else if (random_.oneIn(6)) {
    garden_.run("DELETE FROM members WHERE collection = " + album + " AND asset % 3 = 0");
  } else if (random_.oneIn(6)) {
    garden_.run("UPDATE members SET pos = pos * 31 % 97 WHERE collection = " + album);
  } else {
    change([this, &album](Database& database) {
      for (const std::int64_t row : rowsOfSome(database, "1")) {
        if (!addToAlbum(database, std::stoll(album), row)) return false;
      }
      return true;
    });
  }
}

void LibraryChanger::settleBursts() {
  change([this](Database& database) {
    return settleBurst(database, "burst " + std::to_string(random_.below(7)), BurstChoice::anew);
  });
}

void LibraryChanger::changeOnce() {
  switch (random_.below(9)) {
    case 0:
      return trash();
    case 1:
      return restore();
    case 2:
      return add();
    case 3:
      return drop();
    case 4:
    case 5:
      return changeAlbums();
    case 6:
      return settleBursts();
    default:
      return alter();
  }
}

OtherChanger::OtherChanger(const std::string& library, unsigned seed) {
  EXPECT_EQ(::pipe(orders_), 0);
  EXPECT_EQ(::pipe(reports_), 0);
  child_ = ::fork();
  if (child_ != 0) return;
  {
    ::close(orders_[1]);
    LibraryChanger changer(library, seed);
    for (char order = 0; ::read(orders_[0], &order, 1) == 1;) {
      changer.changeMuch();
      const char report = testing::Test::HasFailure() ? 'n' : 'y';
      if (::write(reports_[1], &report, 1) != 1) break;
    }
  }
  ::_exit(0);
}
OtherChanger::~OtherChanger() {
  ::close(orders_[1]);
  ::waitpid(child_, nullptr, 0);
  for (const int end : {orders_[0], reports_[0], reports_[1]}) ::close(end);
}

void OtherChanger::begin() {
  EXPECT_EQ(::write(orders_[1], "", 1), 1);
}
void OtherChanger::finish() {
  char report = 0;
  EXPECT_EQ(::read(reports_[0], &report, 1), 1);
  EXPECT_EQ(report, 'y');
}

}  // namespace quorvin
