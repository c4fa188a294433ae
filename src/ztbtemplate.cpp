// SPDX-License-Identifier: MIT

#include "ztbtemplate.h"

#include <algorithm>
#include <cstddef>
#include <new>

#include "ztbmessage.h"
#include "ztbnameindex_p.h"
#include "ztbstring_p.h"
#include "ztbtemplate_p.h"
#include "ztlog11.h"
#include "ztschr12.h"

namespace {

constexpr char kSource[] = "ztbtemplate";

// Puts a message into `error`, and gives false. While the pool is down there is no message, and
// null would be no failure.
template <class... Arguments>
bool fail(ZtbString* error, int line, int number, Arguments... arguments) {
  ZtbString const message = ztb_get_message(kSource, line, "Base Services", number, arguments...);
  *error = ztbOrNoMemoryText(message);
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
  return ztbOrThrow(text);
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
  template <class Token>
  Token* addToken(ZtLogger* logger, char const* end);

  ZtbTemplateImpl* mOwner;
  ZtbString* mError;
  char const* mCursor;
  char const* mEnd;
  State mState = State::Fresh;
  char const* mStart;  // of the present run
  char mOpen = '\0';   // the opening bracket in hand
  char mCloser = '\0';
  int mLine = 1;
  ZtbNameIndex mNames;  // of the variables so far
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
  auto* const token = addToken<TokenVariable>(mOwner->mVariableLogger, mCursor);
  ZtbString const& name = token->name();
  unsigned long long const hash = ZtbNameIndex::hashOf(name);
  if (mNames.has(name, hash)) return fail(mError, __LINE__, 1666, name.asCstr());
  if (!mNames.reserve()) throw std::bad_alloc();
  auto* const entry = mOwner->make<Entry>();
  mOwner->mVariables.push_back(entry);
  entry->name = name;
  entry->variable.bracketed = mOpen == '[';
  mNames.add(&name, hash);
  token->bind(&entry->variable);
  return true;
}

void ZtbTemplateImpl::Parser::addConstant(char const* end) {
  if (mStart != end) addToken<TokenConstant>(mOwner->mConstantLogger, end);
}

template <class Token>
Token* ZtbTemplateImpl::Parser::addToken(ZtLogger* logger, char const* end) {
  ZtbString const text = stringOf(mStart, end);
  Token* const token = mOwner->make<Token>(logger, mOwner);
  mOwner->mTokens.push_back(token);
  token->setText(text);
  return token;
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
  for (Entry* const entry : mVariables) entry->~Entry();
  mVariables.clear();
  for (TemplateToken* const token : mTokens) token->release();
  mTokens.clear();
  mMemory.release();
}

void ZtbTemplateImpl::release() {
  delete this;
}

bool ZtbTemplateImpl::parse(ZtbString const& text, ZtbString* error) {
  clear();
  // First null: a static text at the same address would pass for the one that was there before.
  mText.setNull();
  mText = text;
  mIsOrdered = false;
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
  orderVariables();
  Entry const& entry = *mVariables[static_cast<std::size_t>(index)];
  *bracketed = entry.variable.bracketed;
  error->setNull();
  return entry.name;
}

void ZtbTemplateImpl::orderVariables() {
  if (mIsOrdered) return;
  std::sort(mVariables.begin(), mVariables.end(),
            [](Entry const* a, Entry const* b) { return a->name.compare(b->name, false) < 0; });
  mIsOrdered = true;
}

TemplateVariable* ZtbTemplateImpl::findVariable(ZtbString const& name, ZtbString* error) {
  orderVariables();
  auto const place = std::lower_bound(mVariables.begin(), mVariables.end(), name,
                                      [](Entry const* entry, ZtbString const& wanted) {
                                        return entry->name.compare(wanted, false) < 0;
                                      });
  bool const isThere = place != mVariables.end() && (*place)->name.compare(name, false) == 0;
  if (isThere) return &(*place)->variable;
  fail(error, __LINE__, 1762, name.asCstr());
  return nullptr;
}

bool ZtbTemplateImpl::fetchValue(ZtbString const& name, TemplateVariable* variable,
                                 ZtbString* error) {
  if (variable->fetched) return true;
  if (mCallback && !mCallback->getValue(name, &variable->value, error)) return false;
  variable->fetched = true;
  error->setNull();
  return true;
}

ZtbString ZtbTemplateImpl::expand(ZtbString* error) {
  error->setNull();
  ZtbString result;
  for (TemplateToken* const token : mTokens) {
    if (!token->expand(&result, error)) return ZtbString();
  }
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
