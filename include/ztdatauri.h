// SPDX-License-Identifier: MIT
//
// Data URIs: places in a data source, schemes "ztd" and "ztf".

#ifndef ZTDATAURI_H
#define ZTDATAURI_H

#include "zturi.h"

class ZTB_API ZtDataURI : public ZtURI {
 public:
  virtual ZtbString getSource() = 0;
  virtual ZtbString getSourceType() = 0;
  virtual ZtbString getPart1() = 0;
  virtual ZtbString getPart2() = 0;
  virtual ZtbString getPart3() = 0;
  virtual ZtbString getPart4() = 0;
  virtual ZtbString getServer() = 0;
};

ZTB_API ZtDataURI* getDataURIFromComponents(ZtbString const& scheme, ZtbString const& server,
                                            ZtbString const& source, ZtbString const& sourceType,
                                            ZtbString const& part1, ZtbString const& part2,
                                            ZtbString const& part3, ZtbString const& part4);
ZTB_API bool getDataURIComponentsFromString(ZtbString const& text, ZtbString* scheme,
                                            ZtbString* source, ZtbString* sourceType,
                                            ZtbString* part1, ZtbString* part2, ZtbString* part3,
                                            ZtbString* part4, ZtbString* server);

#endif
