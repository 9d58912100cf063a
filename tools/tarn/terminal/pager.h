// A program that shows long output page by page.
#ifndef TOOLS_TARN_PAGER_H_
#define TOOLS_TARN_PAGER_H_

namespace tarn::tool {

// Makes CanPage() false from now on.
void ForbidPager();

// Whether the user wants a pager, and the terminal is good for one.
bool CanPage();

// Sends standard output, and standard error if that is a terminal, to the pager
// that TARN_PAGER or PAGER names; less if neither does. If it cannot be run,
// all is shown without it. Returns whether standard output goes there.
bool StartPager();

// Waits until the user has left the pager, if there is one. Both outputs then
// go to the terminal again.
void EndPager();

// Whether there is one.
bool PagerRuns();

}  // namespace tarn::tool

#endif  // TOOLS_TARN_PAGER_H_
