// SPDX-License-Identifier: MIT
//
// Process-wide settings of dates, written by start-up and then only read.

#ifndef ZTBDATE_P_H
#define ZTBDATE_P_H

// Whether ZtbDate::currentDate gives GMT instead of local time.
void setUseGmtTimeBase(bool on);
// Whether a variant tells its dates in the ISO form.
void setDatavarIsoDates(bool on);
bool datavarIsoDates();

#endif
