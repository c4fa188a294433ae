// SPDX-License-Identifier: MIT
//
// A small application that touches every kind of thing in the public headers: values with inline
// copies, abstract classes of the library and of its own, callbacks, factories, numbers of all
// sizes. Prints what it finds, the same however it was compiled. `run` compiles it in many ways;
// it is also a module that the load test opens and closes.

#include "client.h"

#include <pthread.h>

#include <cstdio>
#include <set>

namespace {

void strings() {
  ZtbString const shared = ztbStringFormat("%s %d", "Größe", 42);
  ZtbString copy(shared);
  copy.append(" cm", nullptr);
  show("string", shared);
  show("changed copy", copy);
  ZtUtf8ToUC* const wide = copy.asUCS2();
  show("16-bit units", wide->bufLength());
  ZtbString back;
  back.fromUCS2(wide->ucString());
  wide->release();
  show("back again", back);
  std::set<ZtbString, ZtbStringLessInsensitive> const ordered = {back, ZtbString("a", true)};
  show("first of the set", *ordered.begin());
}

void values() {
  Row const row = makeRow(7);
  ZtbDatavar all[5] = {row.value};
  all[1].assign(row.price);
  all[2].assign(row.name);
  all[3].assign(row.day);
  all[4].assign(true);
  for (ZtbDatavar const& one : all) {
    ZtbDatavar copy(one);
    copy.setType(ztbTypeString);
    show(ztbTypeToString(one.type()), copy.asString());
  }
  ZtbReal const third = ZtbReal(1LL) / ZtbReal(3LL);
  ZT_SQL_NUMERIC_STRUCT record;
  bool overflow = true;
  third.asSQLNumeric(&record, &overflow, 10, 4);
  show("as a record", record.val[0] + 256 * record.val[1] + (overflow ? 1 << 16 : 0));
  show("type of 12.5", determineType(ZtbString("12.5", true)));
}

void uris() {
  char const* const texts[] = {"ztwt://orders?id=Integer'7'#start=0,count=5",
                               "ztd://erp.ODBC/db/dbo/orders/id", "ztr://sales/2026/o(Table)",
                               "http://example.com/a?b", "ztwt://t?id=Integer'x'"};
  for (char const* text : texts) {
    ZtURI* const uri = getURIFromURIString(ZtbString(text, true));
    show("uri", uri == nullptr ? ZtbString() : familyOf(uri));
    if (uri != nullptr) uri->release();
  }
  ZtWorkTableURI* const table = getWorkTableURIFromComponents(ZtbString("t", true), 1, 2);
  ZtbString error;
  table->addColumn(ZtbString("c", true), ZtbString("5", true), ztbTypeInteger, &error);
  show("a table", table->getURIString());
  table->release();
}

void templates() {
  RowValues values(makeRow(3));
  ZtbString error;
  ZtbTemplate* const letter = ztbCreateBasicTemplate(&values, &error);
  letter->parse(ZtbString("{name} costs [price].", true), &error);
  show("template", letter->expand(&error));
  letter->parse(ZtbString("{colour}", true), &error);
  letter->expand(&error);
  show("refused", error);
  letter->release();
}

void configuration() {
  ZtbConfigFile file;
  file.setEntry(ZtbString("CLIENT/KEY", true), ZtbString("value", true));
  ZtbConfigOptions* const store = ztbGetConfigOptions(ZtbString("client", true));
  store->applyConfigFile(file);
  ZtbString key, value;
  for (unsigned i = 0; store->getOptionAt(i, &key, &value); ++i) show(key.asCstr(), value);
  ztbClearConfigOptions(ZtbString("client", true));
  ZtbParse attributes;
  attributes.parse(ZtbString("user=kim; path=a%3Bb", true));
  for (int i = 0; attributes.getAttribute(i, &key, &value); ++i) show(key.asCstr(), value);
}

void buffers() {
  SharedBufferManager* const manager = ssSharedBufferManager(2, 10, 2, 1, 10, 2);
  SharedBuffer* const rows = manager->acquireFreeInput();
  for (int i = 0; i < 3; ++i) {
    ZtbDatavar* const row = rows->nextRow();
    row[0].assign(i);
    row[1].assign("text");
  }
  rows->release();
  SharedBuffer* const filled = manager->acquireFilledInput(nullptr);
  __int64 sum = 0;
  while (ZtbDatavar const* const row = filled->nextRow()) sum += row[0].asInt64(nullptr);
  filled->release();
  show("sum of the rows", sum);
  Impatient impatient;
  show("no more rows", manager->acquireFilledInput(&impatient) == nullptr);
  manager->destroy();
}

void singletons() {
  Counter first, second;
  first.initialize(nullptr);
  second.initialize(nullptr);
  first.next();
  show("counted by both", second.next());
  first.terminate();
  second.terminate();
  RTProfiler profiler;
  profiler.enter();
  profiler.exit("client");
  void* block = nullptr;
  show("block", ZtbMemPool::getBytes(100, &block));
  ZtbMemPool::freeBytes(block);
}

// A second thread counts references by other instructions than the first.
void* copyInThread(void* argument) {
  auto const& row = *static_cast<Row const*>(argument);
  for (int i = 0; i < 1000; ++i) {
    Row const copy = row;
    Row const another = copy;
  }
  return nullptr;
}

void threads() {
  Row row = makeRow(5);
  pthread_t thread;
  if (pthread_create(&thread, nullptr, copyInThread, &row) != 0) return;
  copyInThread(&row);
  pthread_join(thread, nullptr);
  show("after two threads", row.name);
}

int fail(char const* reason) {
  std::printf("client: %s\n", reason);
  ztbShutdown();
  return 1;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int client(char const* executable) {
  char const* error = nullptr;
  if (ztbInitialize(executable, &error) != 0 || ztbStartup(&error) != 0) return fail(error);
  strings();
  values();
  uris();
  templates();
  configuration();
  buffers();
  singletons();
  threads();
  ztbShutdown();
  return 0;
}

// Takes the path of a program in the folder of the dependency module.
int main(int, char** argv) {
  return client(argv[1]);
}
