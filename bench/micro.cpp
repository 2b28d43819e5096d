// Measures the program's own work, without the network: digests, index readers, change sets,
// and one step of the display.

#include <benchmark/benchmark.h>
#include <openssl/evp.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "app/display.h"
#include "app/progress.h"
#include "engines/bd/bd_updater.h"
#include "engines/bd/utils.h"
#include "engines/kav/kav_updater.h"

namespace {

constexpr std::size_t kLargeBytes = 64 << 20;

// A scratch directory in memory, which is removed in the end.
class Scratch {
 public:
  Scratch() {
    char path[] = "/dev/shm/updatenow-bench.XXXXXX";
    path_ = mkdtemp(path);
    std::filesystem::create_directories(path_ + "/bases/Plugins");
    std::filesystem::create_directories(path_ + "/tmp/Plugins");
  }
  ~Scratch() { std::filesystem::remove_all(path_); }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  std::string path(const std::string& name) const { return path_ + "/" + name; }
  std::string write(const std::string& name, const std::string& contents) const {
    std::ofstream(path(name), std::ios::binary) << contents;
    return path(name);
  }

 private:
  std::string path_;
};

std::string name(std::int64_t i) { return "base" + std::to_string(100000 + i) + ".avc"; }

// Returns an index of `count` files. Every tenth signature differs between two versions.
std::string klbIndex(std::int64_t count, int version) {
  std::string text = "[bases]\r\n";
  for (std::int64_t i = 0; i < count; ++i) {
    const char sign = i % 10 == 0 ? static_cast<char>('a' + version) : 's';
    text += "B=" + name(i) + "," + std::string(58, sign) + ",20480,\r\n";
  }
  return text;
}

std::string versionsIndex(std::int64_t count, int version, const std::string& folder = "") {
  std::string text;
  for (std::int64_t i = 0; i < count; ++i) {
    // Every digest differs between two versions, so no file has to be read.
    const char digit = static_cast<char>('a' + version);
    text += "+ " + std::string(32, digit) + " " + folder + name(i) + " 20480\n";
  }
  return text;
}

void installFiles(const Scratch& scratch, std::int64_t count, const std::string& folder = "") {
  for (std::int64_t i = 0; i < count; ++i) scratch.write("bases/" + folder + name(i), "x");
}

void Md5sum(benchmark::State& state) {
  const Scratch scratch;
  const std::string file = scratch.write("large", std::string(kLargeBytes, 'x'));
  char digest[QX_UTILS::kDigestBytes];
  for (auto _ : state) benchmark::DoNotOptimize(QX_UTILS::md5sum(file.c_str(), digest));
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kLargeBytes));
}
BENCHMARK(Md5sum)->Unit(benchmark::kMillisecond);

void Libcrypto(benchmark::State& state) {
  const std::string buffer(kLargeBytes, 'x');
  unsigned char digest[EVP_MAX_MD_SIZE];
  for (auto _ : state)
    EVP_Digest(buffer.data(), buffer.size(), digest, nullptr, EVP_md5(), nullptr);
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kLargeBytes));
}
BENCHMARK(Libcrypto)->Unit(benchmark::kMillisecond);

void ReadKlb(benchmark::State& state) {
  const Scratch scratch;
  const std::string file = scratch.write("avp.klb", klbIndex(state.range(0), 0));
  std::vector<std::string> entries;
  for (auto _ : state) QX_KAVUpdater::GetDownloadList(file.c_str(), entries);
}
BENCHMARK(ReadKlb)->RangeMultiplier(10)->Range(100, 10000)->Unit(benchmark::kMillisecond);

void ReadVersions(benchmark::State& state) {
  const Scratch scratch;
  const std::string file = scratch.write("versions.dat", versionsIndex(state.range(0), 0));
  std::vector<__QX_AvEntry> entries;
  for (auto _ : state) QX_BDUpdater::GetDownloadList(file.c_str(), entries);
}
BENCHMARK(ReadVersions)->RangeMultiplier(10)->Range(100, 10000)->Unit(benchmark::kMillisecond);

void KavChangeSet(benchmark::State& state) {
  const Scratch scratch;
  installFiles(scratch, state.range(0));
  const std::string oldIndex = scratch.write("old", klbIndex(state.range(0), 0));
  const std::string newIndex = scratch.write("new", klbIndex(state.range(0), 1));
  QX_KAVUpdater updater;
  updater.setValues(nullptr, scratch.path("bases").c_str(), scratch.path("tmp").c_str(), nullptr, 0,
                    0, nullptr, 0, nullptr, nullptr, 30, 0, 3, "mirror");
  for (auto _ : state) {
    std::vector<std::int32_t> sizes;
    std::vector<std::string> names;
    std::vector<std::string> signatures;
    std::vector<std::string> dropped;
    std::int32_t total = 0;
    updater.addToDownload(newIndex.c_str(), oldIndex.c_str(), sizes, names, signatures, &total);
    updater.addToDelete(newIndex.c_str(), oldIndex.c_str(), dropped);
  }
}
BENCHMARK(KavChangeSet)->RangeMultiplier(10)->Range(100, 10000)->Unit(benchmark::kMillisecond);

// The second argument is 1 when all files are in a folder.
void BdChangeSet(benchmark::State& state) {
  const Scratch scratch;
  const std::string folder = state.range(1) == 0 ? "" : "Plugins/";
  installFiles(scratch, state.range(0), folder);
  const std::string oldIndex = scratch.write("old", versionsIndex(state.range(0), 0, folder));
  const std::string newIndex = scratch.write("new", versionsIndex(state.range(0), 1, folder));
  QX_BDUpdater updater;
  updater.setValues(nullptr, scratch.path("bases").c_str(), scratch.path("tmp").c_str(), nullptr, 0,
                    0, nullptr, 0, nullptr, nullptr, 30, 0, 3, "mirror");
  for (auto _ : state) {
    std::vector<__QX_AvEntry> changes;
    std::int32_t total = 0;
    updater.AddToDownload(newIndex.c_str(), oldIndex.c_str(), changes, &total);
  }
}
BENCHMARK(BdChangeSet)->ArgsProduct({{100, 1000, 10000}, {0, 1}})->Unit(benchmark::kMillisecond);

void DisplayStep(benchmark::State& state) {
  char bar[kBarBytes] = {};
  std::FILE* const console = std::freopen("/dev/null", "w", stdout);
  std::int64_t done = 0;
  for (auto _ : state) DisplayUpdate(ProgressFileBytes, "base", 1 << 30, ++done, bar);
  benchmark::DoNotOptimize(console);
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  // DisplayStep redirects the standard output. So it runs last and reports to a copy of it.
  const int console = dup(STDOUT_FILENO);
  benchmark::ClearRegisteredBenchmarks();
  benchmark::RegisterBenchmark("DisplayStep", DisplayStep);
  std::ofstream report("/dev/fd/" + std::to_string(console));
  benchmark::ConsoleReporter reporter(benchmark::ConsoleReporter::OO_None);
  reporter.SetOutputStream(&report);
  benchmark::RunSpecifiedBenchmarks(&reporter);
  return 0;
}
