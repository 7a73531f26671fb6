// A page of records as a reply's bytes, beside a copy of those bytes.
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "bench/report.h"
#include "codec/standard_method_codec.h"
#include "core/queries/asset_record.h"

namespace quorvin {
namespace {

constexpr int kRecords = 1000;

List page() {
  List records;
  for (int i = 0; i < kRecords; ++i) {
    PHAsset asset;
    asset.localIdentifier =
        "6F9619FF-8B86-4D01-B42D-" + std::to_string(100'000'000'000 + i) + "/L0/001";
    asset.mediaType = i % 8 == 0 ? PHAssetMediaType::video : PHAssetMediaType::image;
    asset.pixelWidth = 4032;
    asset.pixelHeight = 3024;
    asset.creationDate = NSDate(1'600'000'000.0 + i);
    asset.modificationDate = asset.creationDate;
    asset.duration = i % 8 == 0 ? 12.5 : 0;
    records.emplace_back(assetToMap(asset));
  }
  return records;
}

void benchEncode(benchmark::State& state, const Value& records) {
  for (auto _ : state) benchmark::DoNotOptimize(encodeSuccessEnvelope(records));
}

void benchCopy(benchmark::State& state, const std::vector<std::uint8_t>& bytes) {
  std::vector<std::uint8_t> copy(bytes.size());
  for (auto _ : state) {
    std::memcpy(copy.data(), bytes.data(), bytes.size());
    benchmark::DoNotOptimize(copy.data());
    benchmark::ClobberMemory();
  }
}

}  // namespace
}  // namespace quorvin

int main(int argc, char** argv) {
  using namespace quorvin;
  const Value records = page();
  const std::vector<std::uint8_t> bytes = encodeSuccessEnvelope(records);

  Report report;
  report.compare(
      {"reply of 1,000 records, encoded", "memcpy of the bytes", {}},
      [&records](benchmark::State& state) { benchEncode(state, records); },
      [&bytes](benchmark::State& state) { benchCopy(state, bytes); });
  return report.run(argc, argv);
}
