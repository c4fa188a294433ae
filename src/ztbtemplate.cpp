// SPDX-License-Identifier: MIT

#include "ztbtemplate.h"

#include <memory>
#include <new>

#include "ztbmessage.h"
#include "ztbtemplate_p.h"
#include "ztlog11.h"
#include "ztschr12.h"

namespace {

constexpr char kSource[] = "ztbtemplate";

// Puts a message into `error`, and gives false.
template <class... Arguments>
bool fail(ZtbString* error, int line, int number, Arguments... arguments) {
  *error = ztb_get_message(kSource, line, "Base Services", number, arguments...);
  return false;
}

bool failForMemory(ZtbString* error, int line) {
  return fail(error, line, 444);
}

// A record whose format has one text.
void logStep(ZtLogger* logger, int line, char const* format, ZtbString const& text) {
  constexpr int kStep = 2;
  if (logger->operations->getLevel(logger) > kStep) return;
  logger->operations->logFormat(logger, kStep, kSource, line, format, text.asCstr());
}

char closerOf(char open) {
  return open == '{' ? '}' : ']';
}

// How messages write what was expected.
char const* quoted(char closer) {
  return closer == '}' ? "'}'" : "']'";
}

// Copies by characters keep every byte; all of these borders lie between characters, since a
// bracket is beside them.
ZtbString stringOf(char const* begin, char const* end) {
  ZtbString text;
  text.assign(begin, static_cast<int>(np_uchar_tell(begin, end)));
  if (text.isNull()) throw std::bad_alloc();
  return text;
}

}  // namespace

ZtbTemplate::ZtbTemplate() = default;
ZtbTemplate::ZtbTemplate(ZtbTemplate const&) {}

bool TemplateToken::append(ZtbString const& text, ZtbString* out, ZtbString* error) const {
  logStep(mLogger, __LINE__, "Appending: '%s'", text);
  bool failed = false;
  out->append(text, &failed);
  if (!failed) return true;
  out->setNull();
  return failForMemory(error, __LINE__);
}

bool TokenConstant::expand(ZtbString* out, ZtbString* error) {
  return append(mText, out, error);
}

void TokenVariable::setText(ZtbString const& text) {
  TemplateToken::setText(text);
  mVariable = nullptr;
}

bool TokenVariable::expand(ZtbString* out, ZtbString* error) {
  logStep(mLogger, __LINE__, "Looking up variable: '%s'", mText);
  if (!mVariable) mVariable = mTemplate->findVariable(mText, error);
  if (!mVariable || !mTemplate->fetchValue(mText, mVariable, error)) {
    logStep(mLogger, __LINE__, "Failed to retrieve variable: '%s'", mText);
    return false;
  }
  return append(mVariable->value, out, error);
}

// Reads the text of a template that holds nothing yet. Throws std::bad_alloc when memory runs out.
class ZtbTemplateImpl::Parser {
 public:
  Parser(ZtbTemplateImpl* owner, ZtbString* error)
      : mOwner(owner),
        mError(error),
        mCursor(owner->mText.asCstr()),
        mEnd(mCursor + owner->mText.cStrSize() - 1),
        mStart(mCursor) {}

  bool isAtEnd() const { return mCursor == mEnd; }
  // Reads up to the end, and then what the end means.
  bool scan();
  bool finish();

 private:
  enum class State { Fresh, Constant, Opened, Name, Closed };

  // Takes the byte at the cursor. A false is a failure, with a message.
  bool step();
  bool readConstant(char byte);
  bool readName(char byte);
  bool readClosed(char byte);
  bool addVariable();
  // Adds literal text that ends in front of `end`.
  void addConstant(char const* end);
  // Adds a token with the text from the start to `end`.
  void addToken(TemplateToken* token, char const* end);

  ZtbTemplateImpl* mOwner;
  ZtbString* mError;
  char const* mCursor;
  char const* mEnd;
  State mState = State::Fresh;
  char const* mStart;  // of the present run
  char mOpen = '\0';   // the opening bracket in hand
  char mCloser = '\0';
  int mLine = 1;
};

bool ZtbTemplateImpl::Parser::scan() {
  for (; !isAtEnd(); ++mCursor) {
    if (!step()) return false;
  }
  return true;
}

bool ZtbTemplateImpl::Parser::step() {
  char const byte = *mCursor;
  switch (mState) {
    case State::Fresh:
      mStart = mCursor;
      mOpen = '\0';
      mState = State::Constant;
      return readConstant(byte);
    case State::Constant:
      return readConstant(byte);
    case State::Opened:
      mStart = mCursor;
      if (byte == mOpen) {
        mOpen = '\0';
        mState = State::Constant;
        return true;
      }
      mCloser = closerOf(mOpen);
      mState = State::Name;
      return readName(byte);
    case State::Name:
      return readName(byte);
    case State::Closed:
      return readClosed(byte);
  }
  return false;
}

bool ZtbTemplateImpl::Parser::readConstant(char byte) {
  switch (byte) {
    case '{':
    case '[':
      addConstant(mCursor);
      mOpen = byte;
      mState = State::Opened;
      break;
    case '}':
    case ']':
      addConstant(mCursor + 1);
      mCloser = byte;
      mState = State::Closed;
      break;
    case '\n':
      ++mLine;
      break;
    default:
      break;
  }
  return true;
}

bool ZtbTemplateImpl::Parser::readName(char byte) {
  if (byte == mCloser) {
    mState = State::Fresh;
    return addVariable();
  }
  // No byte inside a character is a space by itself, so each may be asked.
  int bytes = 0;
  if (byte != mOpen && !np_uchar_isspace(mCursor, &bytes)) return true;
  char const open[] = {mOpen, '\0'};
  return fail(mError, __LINE__, 1760, open, mLine, 1);
}

bool ZtbTemplateImpl::Parser::readClosed(char byte) {
  if (byte == mCloser) {
    mState = State::Fresh;
    return true;
  }
  int bytes = 0;
  np_uchar_toint(mCursor, &bytes);
  ZtbString const found = stringOf(mCursor, mCursor + bytes);
  return fail(mError, __LINE__, 1758, quoted(mCloser), found.asCstr(), mLine, 1);
}

// A name needs no trimming, since white space has no place in it.
bool ZtbTemplateImpl::Parser::addVariable() {
  if (mStart == mCursor) return fail(mError, __LINE__, 1763, mLine, 1);
  auto* const token = new TokenVariable(mOwner->mVariableLogger, mOwner);
  addToken(token, mCursor);
  auto const [entry, isNew] = mOwner->mVariables.try_emplace(token->name(), nullptr);
  if (!isNew) return fail(mError, __LINE__, 1666, token->name().asCstr());
  entry->second = new TemplateVariable;
  entry->second->bracketed = mOpen == '[';
  token->bind(entry->second);
  return true;
}

void ZtbTemplateImpl::Parser::addConstant(char const* end) {
  if (mStart == end) return;
  addToken(new TokenConstant(mOwner->mConstantLogger, mOwner), end);
}

void ZtbTemplateImpl::Parser::addToken(TemplateToken* token, char const* end) {
  struct Release {
    void operator()(TemplateToken* owned) const { owned->release(); }
  };
  std::unique_ptr<TemplateToken, Release> owned(token);
  token->setText(stringOf(mStart, end));
  mOwner->mTokens.push_back(token);
  owned.release();
}

bool ZtbTemplateImpl::Parser::finish() {
  switch (mState) {
    case State::Fresh:
      return true;
    case State::Constant:
      addConstant(mEnd);
      return true;
    case State::Opened:
      return fail(mError, __LINE__, 1759, "'{' or character");
    case State::Name:
    case State::Closed:
      return fail(mError, __LINE__, 1759, quoted(mCloser));
  }
  return false;
}

ZtbTemplateImpl::ZtbTemplateImpl(ZtbTemplateValueCB* callback)
    : mLogger(ztlogGetLogger("ZT.Base.Template")),
      mCallback(callback),
      mConstantLogger(ztlogGetLogger("ZT.Base.Template.TokenConstant")),
      mVariableLogger(ztlogGetLogger("ZT.Base.Template.TokenVariable")) {}

void ZtbTemplateImpl::clear() {
  mListing.clear();
  for (auto const& [name, variable] : mVariables) delete variable;
  mVariables.clear();
  for (TemplateToken* const token : mTokens) token->release();
  mTokens.clear();
}

void ZtbTemplateImpl::release() {
  delete this;
}

bool ZtbTemplateImpl::parse(ZtbString const& text, ZtbString* error) {
  clear();
  mText = text;
  error->setNull();
  Parser parser(this, error);
  try {
    if (parser.scan()) return parser.finish();
  } catch (std::bad_alloc const&) {
    mText.setNull();
    failForMemory(error, __LINE__);
  }
  if (!parser.isAtEnd()) clear();
  return false;
}

int ZtbTemplateImpl::getVariableCount() {
  return static_cast<int>(mVariables.size());
}

ZtbString ZtbTemplateImpl::getVariable(int index, bool* bracketed, ZtbString* error) {
  if (index < 0 || index >= getVariableCount()) {
    fail(error, __LINE__, 1420);
    return ZtbString();
  }
  try {
    if (mListing.empty()) {
      mListing.reserve(mVariables.size());
      for (auto const& entry : mVariables) mListing.push_back(&entry);
    }
  } catch (std::bad_alloc const&) {
    failForMemory(error, __LINE__);
    return ZtbString();
  }
  auto const& [name, variable] = *mListing[static_cast<std::size_t>(index)];
  *bracketed = variable->bracketed;
  error->setNull();
  return name;
}

TemplateVariable* ZtbTemplateImpl::findVariable(ZtbString const& name, ZtbString* error) {
  auto const entry = mVariables.find(name);
  if (entry != mVariables.end()) return entry->second;
  fail(error, __LINE__, 1762, name.asCstr());
  return nullptr;
}

bool ZtbTemplateImpl::fetchValue(ZtbString const& name, TemplateVariable* variable,
                                 ZtbString* error) {
  if (!variable->fetched) {
    if (mCallback && !mCallback->getValue(name, &variable->value, error)) return false;
    variable->fetched = true;
  }
  error->setNull();
  return true;
}

ZtbString ZtbTemplateImpl::expand(ZtbString* error) {
  ZtbString result;
  for (TemplateToken* const token : mTokens) {
    if (!token->expand(&result, error)) return ZtbString();
  }
  error->setNull();
  return result;
}

ZtbTemplate* ztbCreateBasicTemplate(ZtbTemplateValueCB* callback, ZtbString* error) {
  auto* const made = new (std::nothrow) ZtbTemplateImpl(callback);
  if (!made) {
    failForMemory(error, __LINE__);
    return nullptr;
  }
  error->setNull();
  return made;
}
