// SPDX-License-Identifier: MIT
//
// A configuration file of 100,000 entries beside GLib's key files, Qt's INI settings and inih,
// which parses into a hash table of the standard library here. The peers need a section; ours takes
// its title for a line without meaning. The counter peak_kB is what reading adds to a process.

#include "ztbconfigfile.h"

#include <benchmark/benchmark.h>
#include <malloc.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#ifdef ZTB_HAVE_GLIB
#include <glib.h>
#endif
#ifdef ZTB_HAVE_QT
#include <QSettings>
#include <QString>
#endif
#ifdef ZTB_HAVE_INIH
#include <ini.h>
#endif

namespace {

constexpr int kEntries = 100000;

// The file, in order of its keys or in none, for as long as the process runs.
class Sample {
 public:
  explicit Sample(bool isShuffled) {
    char name[] = "/tmp/ztb_bench-XXXXXX";
    close(mkstemp(name));
    mPath = name;
    for (int i = 0; i < kEntries; ++i) {
      char key[64];
      std::snprintf(key, sizeof key, "GROUP_%02d/OPTION_%06d", i * 50 / kEntries, i);
      mKeys.emplace_back(key);
    }
    if (isShuffled) std::shuffle(mKeys.begin(), mKeys.end(), std::mt19937(1));
    std::ofstream file(mPath);
    file << "[section]\n";
    for (std::string const& key : mKeys) file << key << "=value of " << key.substr(9) << "\n";
  }
  ~Sample() { std::remove(mPath.c_str()); }
  char const* path() const { return mPath.c_str(); }
  std::string const& someKey() {
    mNext = (mNext + 7919) % mKeys.size();
    return mKeys[mNext];
  }

 private:
  std::string mPath;
  std::vector<std::string> mKeys;
  std::size_t mNext = 0;
};

Sample& sorted() {
  static Sample sample(false);
  return sample;
}

Sample& shuffled() {
  static Sample sample(true);
  return sample;
}

void check(benchmark::State& state, bool isRight) {
  if (!isRight) state.SkipWithError("wrong result");
}

struct Ours {
  ZtbConfigFile file;

  bool read(char const* path) { return file.read(ZtbString(path, true)); }
  bool write(char const* path) { return file.write(ZtbString(path, true)); }
  bool find(std::string const& key) {
    return !file.getEntry(ZtbString(key.c_str(), true)).isNull();
  }
};

#ifdef ZTB_HAVE_GLIB
struct Glib {
  GKeyFile* file = g_key_file_new();

  ~Glib() { g_key_file_free(file); }
  bool read(char const* path) {
    return g_key_file_load_from_file(file, path, G_KEY_FILE_KEEP_COMMENTS, nullptr) != 0;
  }
  bool write(char const* path) { return g_key_file_save_to_file(file, path, nullptr) != 0; }
  bool find(std::string const& key) {
    gchar* const value = g_key_file_get_value(file, "section", key.c_str(), nullptr);
    g_free(value);
    return value != nullptr;
  }
};
#endif

#ifdef ZTB_HAVE_QT
struct Qt {
  std::unique_ptr<QSettings> file;

  bool read(char const* path) {
    file = std::make_unique<QSettings>(QString::fromUtf8(path), QSettings::IniFormat);
    return file->contains(QStringLiteral("section/GROUP_00/OPTION_000000"));
  }
  // Settings are written to where they came from.
  bool write(char const*) {
    file->setValue(QStringLiteral("section/GROUP_00/OPTION_000000"), ++mWrites);
    file->sync();
    return file->status() == QSettings::NoError;
  }
  bool find(std::string const& key) {
    return file->value("section/" + QString::fromUtf8(key.c_str())).isValid();
  }

 private:
  int mWrites = 0;
};
#endif

#ifdef ZTB_HAVE_INIH
struct Inih {
  std::unordered_map<std::string, std::string> entries;

  bool read(char const* path) {
    auto const add = [](void* to, char const*, char const* key, char const* value) {
      static_cast<Inih*>(to)->entries[key] = value;
      return 1;
    };
    return ini_parse(path, add, this) == 0;
  }
  bool find(std::string const& key) { return entries.find(key) != entries.end(); }
};
#endif

long statusKb(char const* field) {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.rfind(field, 0) == 0) return std::atol(line.c_str() + line.find(':') + 1);
  }
  return 0;
}

// Measured in a process of its own, whose heap holds no free pages that reading could take.
template <class Peer>
double peakKb(char const* path) {
  void* const shared =
      mmap(nullptr, sizeof(long), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  long* const result = static_cast<long*>(shared);
  pid_t const child = fork();
  if (child == 0) {
    malloc_trim(0);
    std::ofstream("/proc/self/clear_refs") << "5";
    long const before = statusKb("VmRSS");
    Peer peer;
    peer.read(path);
    *result = statusKb("VmHWM") - before;
    _exit(0);
  }
  waitpid(child, nullptr, 0);
  double const kb = static_cast<double>(*result);
  munmap(shared, sizeof(long));
  return kb;
}

template <class Peer>
double peakOf = 0;

std::vector<void (*)()>& peakMeasurements() {
  static std::vector<void (*)()> all;
  return all;
}

// All at once before this process reads for the first time, so that there is nothing which anyone's
// reading could use again.
void measurePeaks() {
  static bool const areMeasured = [] {
    for (auto const measure : peakMeasurements()) measure();
    return true;
  }();
  benchmark::DoNotOptimize(areMeasured);
}

template <class Peer>
void readFile(benchmark::State& state, Sample& (*sample)()) {
  measurePeaks();
  state.counters["peak_kB"] = peakOf<Peer>;
  for (auto _ : state) {
    auto peer = std::make_unique<Peer>();
    check(state, peer->read(sample().path()));
    state.PauseTiming();
    check(state, peer->find(sample().someKey()));
    peer.reset();
    state.ResumeTiming();
  }
}

template <class Peer>
void lookUp(benchmark::State& state) {
  measurePeaks();
  Peer peer;
  check(state, peer.read(sorted().path()));
  for (auto _ : state) check(state, peer.find(sorted().someKey()));
}

template <class Peer>
void writeFile(benchmark::State& state) {
  measurePeaks();
  std::string const path = std::string(sorted().path()) + ".out";
  std::ofstream(path) << std::ifstream(sorted().path()).rdbuf();
  Peer peer;
  check(state, peer.read(path.c_str()));
  for (auto _ : state) check(state, peer.write(path.c_str()));
  std::remove(path.c_str());
}

template <class Peer>
void registerReading(std::string const& who) {
  peakMeasurements().push_back([] { peakOf<Peer> = peakKb<Peer>(sorted().path()); });
  benchmark::RegisterBenchmark(("config/read_100k/" + who).c_str(), readFile<Peer>, sorted)
      ->Unit(benchmark::kMillisecond);
  benchmark::RegisterBenchmark(("config/read_100k_shuffled/" + who).c_str(), readFile<Peer>,
                               shuffled)
      ->Unit(benchmark::kMillisecond);
  benchmark::RegisterBenchmark(("config/look_up_100k/" + who).c_str(), lookUp<Peer>);
}

template <class Peer>
void registerWriting(std::string const& who) {
  benchmark::RegisterBenchmark(("config/write_100k/" + who).c_str(), writeFile<Peer>)
      ->Unit(benchmark::kMillisecond);
}

int const registered = [] {
  registerReading<Ours>("ztbcpp31");
  registerWriting<Ours>("ztbcpp31");
#ifdef ZTB_HAVE_GLIB
  registerReading<Glib>("glib");
  registerWriting<Glib>("glib");
#endif
#ifdef ZTB_HAVE_QT
  registerReading<Qt>("qt");
  registerWriting<Qt>("qt");
#endif
#ifdef ZTB_HAVE_INIH
  registerReading<Inih>("inih");
#endif
  return 0;
}();

}  // namespace
