// SPDX-License-Identifier: MIT
//
// The template behind ztbCreateBasicTemplate: its tokens in the order of the text, and its
// variables by name.

#ifndef ZTBTEMPLATE_P_H
#define ZTBTEMPLATE_P_H

#include <map>
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
  // Destroys the token.
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
  void release() override { delete this; }
};

// A variable; the text is its name.
class TokenVariable final : public TemplateToken {
 public:
  TokenVariable(ZtLogger* logger, ZtbTemplateImpl* owner) : TemplateToken(logger, owner) {}
  bool expand(ZtbString* out, ZtbString* error) override;
  void release() override { delete this; }
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
  // Asks the callback for the value, once for each variable. False if it fails, with its text in
  // `error`; true sets that null.
  bool fetchValue(ZtbString const& name, TemplateVariable* variable, ZtbString* error);

 private:
  class Parser;
  struct NameLess {
    bool operator()(ZtbString const& a, ZtbString const& b) const {
      return a.compare(b, false) < 0;
    }
  };
  using VariableMap = std::map<ZtbString, TemplateVariable*, NameLess>;

  ~ZtbTemplateImpl() { clear(); }
  void clear();

  ZtLogger* mLogger;
  ZtbTemplateValueCB* mCallback;
  ZtbString mText;
  std::vector<TemplateToken*> mTokens;
  VariableMap mVariables;
  ZtLogger* mConstantLogger;
  ZtLogger* mVariableLogger;
  // The variables by their position, from the first getVariable after a parse on.
  std::vector<VariableMap::value_type const*> mListing;
};

#endif
