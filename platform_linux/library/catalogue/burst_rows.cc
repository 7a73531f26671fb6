#include "platform_linux/library/catalogue/burst_rows.h"

#include <algorithm>
#include <cstdint>
#include <vector>

#include "platform_linux/library/database/sql_text.h"

namespace quorvin {
namespace {

constexpr auto kMembers = sql("SELECT a.id, a.burst_primary, a.represents FROM assets AS a"
                              " WHERE a.burst_id = ? AND a.trashed_ns IS NULL") +
                          kBurstOrder;
constexpr auto kRetire = sql("UPDATE assets SET represents = 0, burst_sel = burst_sel & ~") +
                         kAutoPickBit + " WHERE burst_id = ? AND represents = 1";
constexpr auto kAppoint = sql("UPDATE assets SET represents = 1, burst_sel = burst_sel | ") +
                          kAutoPickBit + " WHERE id = ?";

}  // namespace

bool settleBurst(Database& database, const std::string& burstIdentifier, BurstChoice choice) {
  struct Member {
    std::int64_t row;
    bool isPrimary;
    bool represents;
  };
  std::vector<Member> members;
  {
    Statement rows = database.prepare(kMembers);
    rows.bind(burstIdentifier);
    while (rows.next()) {
      members.push_back({rows.integer(0), rows.integer(1) != 0, rows.integer(2) != 0});
    }
    if (rows.failed()) return false;
  }
  if (members.empty()) return true;
  const auto represents = [choice](const Member& member) {
    return choice == BurstChoice::keep && member.represents;
  };
  const auto isPrimary = [](const Member& member) { return member.isPrimary; };
  const auto present = std::find_if(members.begin(), members.end(), represents);
  const auto primary = std::find_if(members.begin(), members.end(), isPrimary);
  auto chosen = present;
  if (present == members.end() || (primary != members.end() && !present->isPrimary)) {
    chosen = primary != members.end() ? primary : members.begin();
  }
  if (chosen == present && present != members.end()) return true;
  Statement retire = database.prepare(kRetire);
  Statement appoint = database.prepare(kAppoint);
  return retire.bind(burstIdentifier).run() && appoint.bind(chosen->row).run();
}

bool isRepresented(Database& database, const std::string& burstIdentifier) {
  Statement find = database.prepare(
      "SELECT 1 FROM assets WHERE burst_id = ? AND represents = 1 AND trashed_ns IS NULL LIMIT 1");
  return find.bind(burstIdentifier).next();
}

}  // namespace quorvin
