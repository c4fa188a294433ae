// SPDX-License-Identifier: MIT

#include "lines.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include "input.h"

namespace tool {
namespace {

// Goes through the texts, and tells of those that are refused.
class Worker {
 public:
  Worker(std::string command, bool json, TextWork const& work)
      : mCommand(std::move(command)), mIsJson(json), mWork(work) {
    if (mIsJson) std::printf("[");
  }

  void take(std::string const& text, std::string const& place) {
    try {
      checkText(text);
      mIsJson ? describe(text) : print(text);
    } catch (Refused const& reason) {
      refuse(text, place, reason.what());
    }
  }

  int finish() const {
    if (mIsJson) std::printf("\n]\n");
    return mResult;
  }

 private:
  void print(std::string const& text) {
    std::string const lines = mWork.lines(text);
    std::printf("%s%s", std::exchange(mIsBegun, true) ? "\n" : "", lines.c_str());
  }
  void describe(std::string const& text) {
    JsonObject object;
    mWork.describe(text, object.add("text", text));
    printObject(object);
  }
  void printObject(JsonObject const& object) {
    std::printf("%s\n%s", std::exchange(mIsBegun, true) ? "," : "", object.str().c_str());
  }
  void refuse(std::string const& text, std::string const& place, char const* reason) {
    mResult = 1;
    if (mIsJson) printObject(JsonObject().add("text", text).add("error", reason));
    std::fflush(stdout);
    std::fprintf(stderr, "ztb %s: %s%s\n", mCommand.c_str(), place.c_str(), reason);
  }

  std::string mCommand;
  bool mIsJson;
  TextWork const& mWork;
  bool mIsBegun = false;
  int mResult = 0;
};

}  // namespace

bool Lines::next(std::string& line) {
  line.clear();
  bool isBegun = false;
  for (bool isEnded = false; !isEnded && fill(); isBegun = true) isEnded = takePiece(line);
  if (!line.empty() && line.back() == '\r') line.pop_back();
  return isBegun;
}

// Makes sure that something is there to be taken; false at the end.
bool Lines::fill() {
  if (!mRest.empty()) return true;
  if (std::feof(stdin) != 0) return false;  // asked again, a terminal would wait for more
  bool const isFirst = !std::exchange(mIsBegun, true);
  mRest = {mBuffer.data(), std::fread(mBuffer.data(), 1, mBuffer.size(), stdin)};
  if (std::ferror(stdin) != 0) {
    throw Refused(std::string("standard input can't be read: ") + std::strerror(errno));
  }
  constexpr std::string_view kMark = "\xEF\xBB\xBF";
  if (isFirst && mRest.substr(0, kMark.size()) == kMark) mRest.remove_prefix(kMark.size());
  return !mRest.empty();
}

// Adds what there is of the line; true if that is its end.
bool Lines::takePiece(std::string& line) {
  std::size_t const end = mRest.find('\n');
  std::string_view const piece = mRest.substr(0, end);
  line += piece.substr(0, mMostBytes + 2 - std::min(mMostBytes + 2, line.size()));
  bool const isEnd = end != std::string_view::npos;
  mRest.remove_prefix(piece.size() + (isEnd ? 1 : 0));
  return isEnd;
}

int workOnTexts(std::string const& command, std::vector<std::string> const& texts, bool json,
                TextWork const& work) {
  Worker worker(command, json, work);
  for (std::string const& text : texts) worker.take(text, "");
  if (!texts.empty()) return worker.finish();
  Lines lines(kLongestText);
  long long number = 0;
  for (std::string line; lines.next(line);) {
    ++number;
    if (!line.empty()) worker.take(line, "line " + std::to_string(number) + ": ");
  }
  return worker.finish();
}

}  // namespace tool
