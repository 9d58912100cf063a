// The status codes in words, and in order of importance.
#ifndef SITE_OFFICE_STATUS_H_
#define SITE_OFFICE_STATUS_H_

#include <string>

#include "text.h"

namespace site_office {

// The status in words. A number that the schema does not know: "status 99".
std::string StatusWords(int status);

// Rank of a status: the higher it is, the sooner somebody must act.
int Severity(int status);

Tone StatusTone(int status);

}  // namespace site_office

#endif  // SITE_OFFICE_STATUS_H_
