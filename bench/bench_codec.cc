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

std::vector<PHAsset> assets() {
  std::vector<PHAsset> assets;
  for (int i = 0; i < kRecords; ++i) {
    PHAsset& asset = assets.emplace_back();
    asset.localIdentifier =
        "6F9619FF-8B86-4D01-B42D-" + std::to_string(100'000'000'000 + i) + "/L0/001";
    asset.mediaType = i % 8 == 0 ? PHAssetMediaType::video : PHAssetMediaType::image;
    asset.pixelWidth = 4032;
    asset.pixelHeight = 3024;
    asset.creationDate = NSDate(1'600'000'000.0 + i);
    asset.modificationDate = asset.creationDate;
    asset.duration = i % 8 == 0 ? 12.5 : 0;
  }
  return assets;
}

Value page(const std::vector<PHAsset>& assets) {
  List records;
  records.reserve(assets.size());
  for (const PHAsset& asset : assets) records.emplace_back(assetToMap(asset));
  return records;
}

void benchEncode(benchmark::State& state, const std::vector<PHAsset>& assets) {
  for (auto _ : state) benchmark::DoNotOptimize(takeSuccessEnvelope(page(assets)));
}

void benchDecode(benchmark::State& state, const std::vector<std::uint8_t>& bytes) {
  for (auto _ : state) benchmark::DoNotOptimize(decodeEnvelope(bytes));
}

/// As thumbnails and image data are answered: into memory with room for the head.
void benchBytes(benchmark::State& state, const std::vector<std::uint8_t>& bytes) {
  for (auto _ : state) {
    std::uint8_t* filling = nullptr;
    auto buffer = ByteBuffer::allocate(bytes.size(), filling);
    std::memcpy(filling, bytes.data(), bytes.size());
    benchmark::DoNotOptimize(takeSuccessEnvelope(*std::move(buffer)));
  }
}

/// Into new memory, as anybody's copy is.
void benchNewCopy(benchmark::State& state, const std::vector<std::uint8_t>& bytes) {
  for (auto _ : state) {
    std::vector<std::uint8_t> copy(bytes.begin(), bytes.end());
    benchmark::DoNotOptimize(copy.data());
  }
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
  const std::vector<PHAsset> thousand = assets();
  const std::vector<std::uint8_t> bytes = encodeSuccessEnvelope(page(thousand));
  const std::vector<std::uint8_t> picture(3'500'000, 0x5a);

  Report report;
  const auto copied = [&bytes](benchmark::State& state) { benchCopy(state, bytes); };
  report.compare(
      {"1,000 records, built and encoded", "memcpy of the bytes", 40},
      [&thousand](benchmark::State& state) { benchEncode(state, thousand); }, copied);
  report.compare(
      {"1,000 records, decoded", "memcpy of the bytes", 60},
      [&bytes](benchmark::State& state) { benchDecode(state, bytes); }, copied);
  report.compare(
      {"reply of 3.5 MB of bytes", "a copy of the bytes", 2},
      [&picture](benchmark::State& state) { benchBytes(state, picture); },
      [&picture](benchmark::State& state) { benchNewCopy(state, picture); });
  return report.run(argc, argv);
}
