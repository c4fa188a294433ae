// SPDX-License-Identifier: MIT
//
// The template behind ztbCreateBasicTemplate: its tokens in the order of the text, and its
// variables by name.

#ifndef ZTBTEMPLATE_P_H
#define ZTBTEMPLATE_P_H

#include <memory_resource>
#include <new>
#include <vector>

#include "ztbtemplate.h"

struct ZtLogger;
class ZtbTemplateImpl;

struct TemplateVariable {
  bool fetched = false;
  bool bracketed = false;
  ZtbString value;
};

// A piece of a template's text.
class TemplateToken {
 public:
  TemplateToken(TemplateToken const&) = delete;
  TemplateToken& operator=(TemplateToken const&) = delete;

  // Adds what the token comes to. False with a message in `error` on failure; only one of memory
  // changes `out`, to null.
  virtual bool expand(ZtbString* out, ZtbString* error) = 0;
  // Destroys the token; its memory is the template's.
  virtual void release() = 0;
  virtual void setText(ZtbString const& text) { mText = text; }

 protected:
  TemplateToken(ZtLogger* logger, ZtbTemplateImpl* owner) : mLogger(logger), mTemplate(owner) {}
  ~TemplateToken() = default;

  bool append(ZtbString const& text, ZtbString* out, ZtbString* error) const;

  ZtLogger* mLogger;
  ZtbTemplateImpl* mTemplate;
  ZtbString mText;
};

// Literal text.
class TokenConstant final : public TemplateToken {
 public:
  TokenConstant(ZtLogger* logger, ZtbTemplateImpl* owner) : TemplateToken(logger, owner) {}
  bool expand(ZtbString* out, ZtbString* error) override;
  void release() override { this->~TokenConstant(); }
};

// A variable; the text is its name.
class TokenVariable final : public TemplateToken {
 public:
  TokenVariable(ZtLogger* logger, ZtbTemplateImpl* owner) : TemplateToken(logger, owner) {}
  bool expand(ZtbString* out, ZtbString* error) override;
  void release() override { this->~TokenVariable(); }
  void setText(ZtbString const& text) override;
  ZtbString const& name() const { return mText; }
  // Spares expand the search for the name.
  void bind(TemplateVariable* variable) { mVariable = variable; }

 private:
  TemplateVariable* mVariable = nullptr;
};

class ZtbTemplateImpl final : public ZtbTemplate {
 public:
  explicit ZtbTemplateImpl(ZtbTemplateValueCB* callback);
  ZtbTemplateImpl(ZtbTemplateImpl const&) = delete;
  ZtbTemplateImpl& operator=(ZtbTemplateImpl const&) = delete;

  ZtbString getVariable(int index, bool* bracketed, ZtbString* error) override;
  int getVariableCount() override;
  void release() override;
  ZtbString expand(ZtbString* error) override;
  bool parse(ZtbString const& text, ZtbString* error) override;

  // The variable of a name; null with a message in `error` if there is none.
  TemplateVariable* findVariable(ZtbString const& name, ZtbString* error);
  // Asks the callback for the value, unless it has given it. False if it fails, with its text in
  // `error`; otherwise that is null if it was before.
  bool fetchValue(ZtbString const& name, TemplateVariable* variable, ZtbString* error);

 private:
  class Parser;
  struct Entry {
    TemplateVariable variable;
    ZtbString name;
  };

  ~ZtbTemplateImpl() { clear(); }
  void clear();
  // Makes a token or an entry, which holds nothing to lose until it has its text. Throws
  // std::bad_alloc.
  template <class Object, class... Arguments>
  Object* make(Arguments... arguments) {
    return new (mMemory.allocate(sizeof(Object), alignof(Object))) Object(arguments...);
  }
  // Orders mVariables, if nobody has since the last parse.
  void orderVariables();

  ZtLogger* mLogger;
  ZtbTemplateValueCB* mCallback;
  ZtbString mText;
  std::vector<TemplateToken*> mTokens;
  // A map by the order of names without regard to case. It is only put in order when somebody looks
  // something up in it: a parse tells duplicates by their hashes, which takes the same time for
  // each variable of any number, and tokens know their variables.
  std::vector<Entry*> mVariables;
  bool mIsOrdered = true;
  // Holds the tokens and the entries.
  std::pmr::monotonic_buffer_resource mMemory{std::pmr::new_delete_resource()};
  ZtLogger* mConstantLogger;
  ZtLogger* mVariableLogger;
};

#endif
