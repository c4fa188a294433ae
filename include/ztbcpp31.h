// SPDX-License-Identifier: MIT
//
// Every public header of the library.

#ifndef ZTBCPP31_H
#define ZTBCPP31_H

#include "rtprofiler.h"
#include "sssharedbuffer.h"
#include "ztbconfigfile.h"
#include "ztbconfigoptions.h"
#include "ztbconfigoverlay.h"
#include "ztbdatavar.h"
#include "ztbdate.h"
#include "ztbdefs.h"
#include "ztbdeterminetype.h"
#include "ztbdir.h"
#include "ztbemail.h"
#include "ztbencrypt.h"
#include "ztbexecute.h"
#include "ztbinit.h"
#include "ztbmempool.h"
#include "ztbmessage.h"
#include "ztbparse.h"
#include "ztbreal.h"
#include "ztbsingleton.h"
#include "ztbstartup.h"
#include "ztbstring.h"
#include "ztbstringformat.h"
#include "ztbsubject.h"
#include "ztbtemplate.h"
#include "ztbtxtfile.h"
#include "ztbtxtfilefw.h"
#include "ztconvert.h"
#include "ztdatauri.h"
#include "ztreposuri.h"
#include "zturi.h"
#include "ztwturi.h"

#endif
