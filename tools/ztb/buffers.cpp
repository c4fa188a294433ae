// SPDX-License-Identifier: MIT
//
// ztb buffers: passes rows to a worker thread and back through shared buffers, checks each, and
// tells how fast that was.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <thread>

#include "progress.h"
#include "sssharedbuffer.h"
#include "tool.h"

namespace tool {
namespace {

constexpr int kBuffers = 4;
constexpr int kRowsOfABuffer = 256;

constexpr char kHelp[] =
    "A client writes rows of variants, a worker reads them and answers with as many, through\n"
    "buffers that are used again. docs/shared-buffers.md tells how applications do it.\n\n"
    "  ztb buffers --rows 5000000 --columns 4";

struct Arguments {
  long long rows = 1'000'000;
  int columns = 10;
  bool json = false;
};

struct Destroy {
  void operator()(SharedBufferManager* manager) const { manager->destroy(); }
};
using Manager = std::unique_ptr<SharedBufferManager, Destroy>;

long long answerTo(long long value) {
  return value + 1;
}

// A buffer without rows says that no more come.
void work(SharedBufferManager& manager, int columns) {
  SharedBuffer* output = nullptr;
  for (;;) {
    SharedBuffer* const input = manager.acquireFilledInput(nullptr);
    ZtbDatavar const* row = input->nextRow();
    bool const isLast = row == nullptr;
    for (; row != nullptr; row = input->nextRow()) {
      ZtbDatavar* answer;
      while (output == nullptr || (answer = output->nextRow()) == nullptr) {
        if (output != nullptr) output->release();
        output = manager.acquireFreeOutput(nullptr);
      }
      for (int i = 0; i < columns; ++i) answer[i].assign(answerTo(row[i].asInt64(nullptr)));
    }
    input->release();
    if (!isLast) continue;
    if (output != nullptr) output->release();
    return;
  }
}

class Client {
 public:
  Client(SharedBufferManager& manager, Arguments const& arguments)
      : mManager(manager), mRows(arguments.rows), mColumns(arguments.columns) {}

  // False if a row came back other than it must.
  bool run() {
    Progress progress("rows", mRows, Progress::kAlone);
    while (mReceived < mRows || !mHasEnded) {
      SharedBuffer* input = nullptr;
      SharedBuffer* output = nullptr;
      mManager.waitForBuffers(nullptr, mHasEnded ? nullptr : &input, &output);
      if (input != nullptr) write(*input);
      if (output != nullptr) read(*output);
      progress.show(mReceived);
    }
    return mIsGood;
  }

 private:
  void write(SharedBuffer& input) {
    mHasEnded = mSent == mRows;
    for (ZtbDatavar* row; mSent < mRows && (row = input.nextRow()) != nullptr; ++mSent) {
      for (int i = 0; i < mColumns; ++i) row[i].assign(static_cast<__int64>(mSent + i));
    }
    input.release();
  }

  void read(SharedBuffer& output) {
    for (ZtbDatavar const* row; (row = output.nextRow()) != nullptr; ++mReceived) {
      for (int i = 0; i < mColumns; ++i) {
        mIsGood = mIsGood && row[i].asInt64(nullptr) == answerTo(mReceived + i);
      }
    }
    output.release();
  }

  SharedBufferManager& mManager;
  long long mRows;
  int mColumns;
  long long mSent = 0;
  long long mReceived = 0;
  bool mHasEnded = false;
  bool mIsGood = true;
};

int run(Arguments const& arguments) {
  using Clock = std::chrono::steady_clock;
  int const columns = arguments.columns;
  Manager const manager(
      ssSharedBufferManager(kBuffers, kRowsOfABuffer, columns, kBuffers, kRowsOfABuffer, columns));
  if (manager == nullptr) throw Refused("out of memory: ask for fewer columns");
  auto const begin = Clock::now();
  std::thread worker([&] { work(*manager, columns); });
  bool const isGood = Client(*manager, arguments).run();
  worker.join();
  if (!isGood) throw Refused("rows came back changed");
  double const seconds = std::chrono::duration<double>(Clock::now() - begin).count();
  double const rate = static_cast<double>(arguments.rows) / std::max(seconds, 1e-9);
  if (arguments.json) {
    JsonObject object;
    object.add("rows", arguments.rows).add("columns", static_cast<long long>(columns));
    object.add("milliseconds", static_cast<long long>(seconds * 1000));
    object.add("rowsPerSecond", static_cast<long long>(rate));
    std::printf("%s\n", object.str().c_str());
  } else {
    std::printf("%lld rows of %d values there and back in %.3f s: %.0f rows a second\n",
                arguments.rows, columns, seconds, rate);
  }
  return 0;
}

}  // namespace

Run declareBuffers(CLI::App& app) {
  auto const arguments = std::make_shared<Arguments>();
  app.add_option("--rows", arguments->rows, "Rows that go there and back (default: 1,000,000)")
      ->type_name(kNumber)
      ->check(isBetween(0, 1'000'000'000'000LL));
  app.add_option("--columns", arguments->columns, "Values of a row, 0 to 1000 (default: 10)")
      ->type_name(kNumber)
      ->check(isBetween(0, 1000));
  app.add_flag("--json", arguments->json, "Print a JSON object");
  app.footer(kHelp);
  return [arguments] {
    chooseHome("");
    Library library;
    return run(*arguments);
  };
}

}  // namespace tool
