// SPDX-License-Identifier: MIT

#include "ztbemail.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <new>

#include "ztbmessage.h"
#include "ztschr12.h"
#include "ztsfio12.h"
#include "ztsstr12.h"
#include "ztssys11.h"

namespace {

constexpr char kSource[] = "ztbemail";
constexpr char kGroup[] = "Base Services";

constexpr int kWaitSeconds = 10;
constexpr unsigned kPathSize = 1024;

// Lines of base64, and how many are made at once.
constexpr std::size_t kLineBytes = 57;
constexpr std::size_t kLineChars = 76;
constexpr std::size_t kLines = 1024;

struct CloseFile {
  void operator()(NpFile* file) const { np_fio_close(file); }
};
using File = std::unique_ptr<NpFile, CloseFile>;

struct DestroyProcess {
  void operator()(NpProcess* process) const { np_proc_destroy(process); }
};
using Process = std::unique_ptr<NpProcess, DestroyProcess>;

using List = std::vector<ZtbString>;

struct AttachmentBuffers {
  char bytes[kLines * kLineBytes];
  char text[kLines * (kLineChars + 2) + 1];
};

char const* orEmpty(char const* text) {
  return text == nullptr ? "" : text;
}

bool holdsLineEnd(char const* text) {
  return text[std::strcspn(text, "\r\n")] != '\0';
}

// Adds to a list; one that can't take the value is given up, so that no mail goes without it.
void add(List*& list, ZtbString const& value) {
  if (list == nullptr) return;
  try {
    list->push_back(value);
  } catch (std::bad_alloc const&) {
    delete list;
    list = nullptr;
  }
}

void clear(List*& list) {
  if (list != nullptr) {
    list->clear();
  } else {
    list = new (std::nothrow) List;
  }
}

bool has(List const* list, int index) {
  return list != nullptr && index >= 0 && static_cast<std::size_t>(index) < list->size();
}

ZtbString const& at(List const* list, int index) {
  return (*list)[static_cast<std::size_t>(index)];
}

int count(List const* list) {
  return static_cast<int>(list->size());
}

// Writes the name of an attachment as a quoted text has it. False if it doesn't fit.
bool quote(char const* name, char* target, std::size_t size) {
  std::size_t used = 0;
  for (; *name != '\0'; ++name) {
    if (used + 3 > size) return false;
    if (*name == '"' || *name == '\\') target[used++] = '\\';
    target[used++] = *name;
  }
  target[used] = '\0';
  return true;
}

// Encodes `bytes` as lines with their ends, the last one shorter if need be.
void encodeLines(char const* bytes, std::size_t size, char* text) {
  for (std::size_t done = 0; done < size; done += kLineBytes) {
    auto const lineBytes = static_cast<int>(std::min(kLineBytes, size - done));
    text += zts_b64_encode(bytes + done, lineBytes, text, kLineChars + 1);
    *text++ = '\r';
    *text++ = '\n';
  }
  *text = '\0';
}

// What the command wrote, its lines joined by a blank. A message holds less than kShown bytes, so
// nothing behind those is read: the output may be of any size.
ZtbString readReport(NpFile* file) {
  constexpr unsigned kShown = 2048;
  constexpr int kLineSize = 4 * kShown;
  char line[kLineSize];
  ZtbString report;
  for (bool isFirst = true; report.cStrSize() <= kShown; isFirst = false) {
    int const n = np_fio_gets(file, line, kLineSize);
    if (n <= 0) break;
    std::replace(line, line + n, '\0', ' ');
    ZtbString text(line, false);
    bool const isCut = n == kLineSize - 1 && line[n - 1] != '\n';
    if (!isCut) text.trim(false, true);
    if (!isFirst) report.append(" ", nullptr);
    report.append(text, nullptr);
    if (isCut) break;
  }
  return report;
}

}  // namespace

ZtbEmail::ZtbEmail()
    : removeFiles(true),
      messages(new (std::nothrow) List),
      attachments(new (std::nothrow) List),
      mailFilePath(),
      outputFilePath(),
      mailFile(nullptr),
      outputFile(nullptr),
      exitCode(0) {}

ZtbEmail::~ZtbEmail() {
  dropFiles();
  delete messages;
  delete attachments;
}

bool ZtbEmail::initialize(ZtbString folder, ZtbString line) {
  tempDirectory = folder;
  command = line;
  mTemplate = line;
  exitCode = 0;
  boundary = ZtbString("ZT_EMAIL_00", true);
  clearMessages();
  clearAttachments();
  dropFiles();
  return makeFiles();
}

void ZtbEmail::setTo(ZtbString value) {
  to = value;
}

void ZtbEmail::setFrom(ZtbString value) {
  from = value;
}

void ZtbEmail::setSubject(ZtbString value) {
  subject = value;
}

void ZtbEmail::addMessage(ZtbString text) {
  add(messages, text);
}

void ZtbEmail::addAttachment(ZtbString path) {
  add(attachments, path);
}

void ZtbEmail::clearMessages() {
  clear(messages);
}

void ZtbEmail::clearAttachments() {
  clear(attachments);
}

bool ZtbEmail::sendMail() {
  if (!prepareMailFile() || !writeEmailTextFile()) return false;
  command = mTemplate.replace(ZtbString("%T", true), to, 0, -1);
  command = command.replace(ZtbString("%B", true), ZtbString(mailFilePath, true), 0, -1);
  return runCommand();
}

int ZtbEmail::getExitCode() {
  return exitCode;
}

ZtbString ZtbEmail::getEmailFile() {
  return {mailFilePath, false};
}

ZtbString ZtbEmail::getErrorMessage() {
  return errorMessage;
}

bool ZtbEmail::writeEmailTextFile() {
  if (!writeTo() || !writeFrom() || !writeSubject() || !writeBody()) return false;
  np_fio_close(mailFile);
  mailFile = nullptr;
  constexpr unsigned kSeekFailed = 0xFFFFFFFF;
  if (np_fio_seek(outputFile, 0, np_fio_from_start) == kSeekFailed) {
    return fail(ztb_get_message(kSource, __LINE__, kGroup, 453, outputFilePath));
  }
  if (np_fio_trunc(outputFile) != 0) {
    return fail(ztb_get_message(kSource, __LINE__, kGroup, 454, outputFilePath));
  }
  return true;
}

bool ZtbEmail::writeTo() {
  if (to.isNull()) return fail(ztb_get_message(kSource, __LINE__, kGroup, 450));
  return writeValue(ZtbString("To", true), to);
}

bool ZtbEmail::writeFrom() {
  return from.isNull() || writeValue(ZtbString("From", true), from);
}

bool ZtbEmail::writeSubject() {
  if (subject.isNull()) return fail(ztb_get_message(kSource, __LINE__, kGroup, 451));
  return writeValue(ZtbString("Subject", true), subject);
}

bool ZtbEmail::writeBody() {
  if (messages == nullptr || attachments == nullptr) {
    return fail(ztb_get_message(kSource, __LINE__, kGroup, 444));
  }
  if (messages->empty() && attachments->empty()) return true;
  if (!writeMultipartHeader()) return false;
  for (int i = 0; i < count(messages); ++i) {
    if (!writeMessage(i)) return false;
  }
  for (int i = 0; i < count(attachments); ++i) {
    if (!writeAttachment(i)) return false;
  }
  return writeBoundary(true);
}

bool ZtbEmail::writeMultipartHeader() {
  int const written = np_fio_putm(
      mailFile, "Content-Type: multipart/mixed; boundary=\"", boundary.asCstr(), "\"\r\n",
      "MIME-version: 1.0\r\n", "This is a multi-part message in MIME format.\r\n", "\r\n", nullptr);
  return written >= 0 || fail(ztb_get_message(kSource, __LINE__, kGroup, 452));
}

bool ZtbEmail::writeBoundary(bool closing) {
  int const written =
      np_fio_putm(mailFile, "--", boundary.asCstr(), closing ? "--\r\n" : "\r\n", nullptr);
  return written >= 0 || fail(ztb_get_message(kSource, __LINE__, kGroup, 448));
}

bool ZtbEmail::writeMessage(int index) {
  if (!has(messages, index)) return fail(ztb_get_message(kSource, __LINE__, kGroup, 452));
  ZtbString content = at(messages, index);
  int nonAscii = 0;
  scanStr(content, &nonAscii);
  if (nonAscii != 0) content = encodeBody(content);
  if (nonAscii != 0 && content.isNull()) return false;
  if (!writeBoundary(false)) return false;
  char const* const charset = nonAscii != 0 ? "UTF-8" : "US-ASCII";
  char const* const transfer = nonAscii != 0 ? "base64" : "7bit";
  int const written = np_fio_putm(mailFile, "Content-Type: text/plain; charset=", charset, "\r\n",
                                  "Content-Transfer-Encoding: ", transfer, "\r\n", "\r\n",
                                  content.asCstr(), "\r\n", nullptr);
  return written >= 0 || fail(ztb_get_message(kSource, __LINE__, kGroup, 452));
}

bool ZtbEmail::writeAttachment(int index) {
  ZtbString const path = has(attachments, index) ? at(attachments, index) : ZtbString();
  NpFile* opened = nullptr;
  int const code = np_fio_open(path.asCstr(), np_fio_flag_read | np_fio_flag_share, &opened);
  if (code != 0) {
    return fail(ztb_get_message(kSource, __LINE__, kGroup, 471, orEmpty(np_fio_errdesc(code))));
  }
  File const attachment(opened);
  // It would feed itself until the disk is full.
  if (np_fio_issame(opened, mailFile) != 0) {
    return fail(ztb_get_message(kSource, __LINE__, kGroup, 471, "It is the text of this mail"));
  }
  return writeBoundary(false) && writeAttachmentHeader(path) &&
         writeAttachmentContent(attachment.get());
}

bool ZtbEmail::writeValue(ZtbString name, ZtbString value) {
  int nonAscii = 0;
  scanStr(value, &nonAscii);
  ZtbString const written = nonAscii != 0 ? encodeHeaderValue(value) : value;
  if (nonAscii != 0 && written.isNull()) return false;
  bool const isOneLine = !holdsLineEnd(name.asCstr()) && !holdsLineEnd(value.asCstr());
  if (isOneLine &&
      np_fio_putm(mailFile, name.asCstr(), ": ", written.asCstr(), "\r\n", nullptr) >= 0) {
    return true;
  }
  return fail(ztb_get_message(kSource, __LINE__, kGroup, 449, name.asCstr(), value.asCstr()));
}

int ZtbEmail::scanStr(ZtbString text, int* nonAscii) {
  *nonAscii = 0;
  int width = 0;
  for (char const* position = text.asCstr(); *position != '\0'; position += width) {
    if (np_uchar_isascii(position, &width) == 0) *nonAscii = 1;
  }
  return static_cast<int>(text.cStrSize() - 1);
}

ZtbString ZtbEmail::encodeHeaderValue(ZtbString value) {
  return encode("=?UTF-8?B?", value, "?=");
}

ZtbString ZtbEmail::encodeBody(ZtbString text) {
  return encode("", text, "");
}

bool ZtbEmail::makeFile(char* path, NpFile** file) {
  int const code = np_fio_tmpfile(tempDirectory.asCstr(), "cmd_email", path, kPathSize, file);
  return code == 0 || fail(ztb_get_message(kSource, __LINE__, kGroup, 332, code,
                                           tempDirectory.asCstr(), orEmpty(np_fio_errdesc(code))));
}

// Puts a fresh pair in the place of the one that is there, or leaves that as it is.
bool ZtbEmail::makeFiles() {
  char mailPath[kPathSize];
  char outputPath[kPathSize];
  NpFile* mail = nullptr;
  NpFile* output = nullptr;
  if (!makeFile(mailPath, &mail)) return false;
  if (!makeFile(outputPath, &output)) {
    np_fio_close(mail);
    np_fio_unlink(mailPath);
    return false;
  }
  dropFiles();
  std::memcpy(mailFilePath, mailPath, kPathSize);
  std::memcpy(outputFilePath, outputPath, kPathSize);
  mailFile = mail;
  outputFile = output;
  removeFiles = true;
  return true;
}

void ZtbEmail::dropFiles() {
  for (NpFile** const file : {&mailFile, &outputFile}) {
    np_fio_close(*file);
    *file = nullptr;
  }
  for (char* const path : {mailFilePath, outputFilePath}) {
    if (removeFiles && *path != '\0') np_fio_unlink(path);
    *path = '\0';
  }
}

// Empties the mail's file, or makes fresh ones once a command has seen it. Without an initialised
// pair there is nothing to prepare: writing the first line fails.
bool ZtbEmail::prepareMailFile() {
  if (mailFile == nullptr) return *mailFilePath == '\0' || makeFiles();
  bool const isEmpty =
      np_fio_seek64(mailFile, 0, np_fio_from_start) == 0 && np_fio_trunc(mailFile) == 0;
  return isEmpty || fail(ztb_get_message(kSource, __LINE__, kGroup, 452));
}

bool ZtbEmail::writeAttachmentHeader(ZtbString const& path) {
  char name[kPathSize];
  char quoted[2 * kPathSize];
  bool const isGood = np_fio_pparse(path.asCstr(), nullptr, 0, name, kPathSize) == 0 &&
                      !holdsLineEnd(name) && quote(name, quoted, sizeof quoted);
  if (isGood && np_fio_putm(mailFile, "Content-Type: application/octet-stream\r\n",
                            "Content-Transfer-Encoding: ", "base64", "\r\n",
                            "Content-Disposition: attachment; filename=\"", quoted, "\"\r\n",
                            "\r\n", nullptr) >= 0) {
    return true;
  }
  return fail(ztb_get_message(kSource, __LINE__, kGroup, 452));
}

// Bytes that don't fill a line wait for the next read, so that only the last line can be short.
bool ZtbEmail::writeAttachmentContent(NpFile* attachment) {
  std::unique_ptr<AttachmentBuffers> const buffers(new (std::nothrow) AttachmentBuffers);
  if (buffers == nullptr) return fail(ztb_get_message(kSource, __LINE__, kGroup, 444));
  std::size_t held = 0;
  for (bool isAtEnd = false; !isAtEnd;) {
    int const n = np_fio_getb(attachment, buffers->bytes + held,
                              static_cast<unsigned>(sizeof buffers->bytes - held));
    if (n < 0) return fail(ztb_get_message(kSource, __LINE__, kGroup, 97, ""));
    isAtEnd = n == 0;
    held += static_cast<std::size_t>(n);
    std::size_t const rest = isAtEnd ? 0 : held % kLineBytes;
    encodeLines(buffers->bytes, held - rest, buffers->text);
    if (np_fio_putm(mailFile, buffers->text, nullptr) < 0) {
      return fail(ztb_get_message(kSource, __LINE__, kGroup, 452));
    }
    std::memmove(buffers->bytes, buffers->bytes + held - rest, rest);
    held = rest;
  }
  return true;
}

ZtbString ZtbEmail::encode(char const* before, ZtbString const& text, char const* behind) {
  auto const bytes = static_cast<int>(text.cStrSize() - 1);
  int const length = zts_b64_encode(text.asCstr(), bytes, nullptr, 0);
  std::unique_ptr<char[]> buffer;
  if (length >= 0) buffer.reset(new (std::nothrow) char[static_cast<std::size_t>(length) + 1]);
  ZtbString result(before, false);
  bool hasFailed = buffer == nullptr || result.isNull();
  if (!hasFailed) {
    zts_b64_encode(text.asCstr(), bytes, buffer.get(), length + 1);
    result.append(buffer.get(), &hasFailed);
  }
  if (!hasFailed) result.append(behind, &hasFailed);
  if (!hasFailed) return result;
  fail(ztb_get_message(kSource, __LINE__, kGroup, 444));
  return {};
}

bool ZtbEmail::runCommand() {
  constexpr int kFlags = np_proc_base | np_proc_output;
  NpProcessStart const start{0, 0, outputFilePath, nullptr};
  NpProcess* started = nullptr;
  // An empty line would run and do nothing: the mail would pass for sent. A null one, which is also
  // what lack of memory leaves, is refused.
  char const* const line = command.length() == 0 ? nullptr : command.asCstr();
  int const failure = np_proc_shellexec(line, kFlags, &start, &started);
  Process process(started);
  if (failure != 0) {
    return fail(
        ztb_get_message(kSource, __LINE__, kGroup, 380, orEmpty(np_proc_geterr(process.get()))));
  }
  bool const isSent = awaitCommand(process.get());
  process.reset();
  return !takeReport() && isSent;
}

bool ZtbEmail::awaitCommand(NpProcess* process) {
  int status = np_proc_ended;
  if (np_proc_wait(process, kWaitSeconds, &status, &exitCode) != 0) {
    return fail(ztb_get_message(kSource, __LINE__, kGroup, 377, orEmpty(np_proc_geterr(process))));
  }
  if (status == np_proc_running) removeFiles = false;
  if (status != np_proc_aborted) return true;
  return fail(ztb_get_message(kSource, __LINE__, kGroup, 378, exitCode));
}

// Whether the command has written anything.
bool ZtbEmail::takeReport() {
  NpStatus status;
  if (np_fio_stat(outputFilePath, &status) != 0 || status.size == 0) return false;
  ZtbString const report = readReport(outputFile);
  if (report.length() > 0) {
    fail(ztb_get_message(kSource, __LINE__, kGroup, 333, command.asCstr(), report.asCstr()));
  }
  return true;
}

bool ZtbEmail::fail(ZtbString const& message) {
  errorMessage = message;
  return false;
}
