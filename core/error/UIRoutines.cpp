#include "core/error/UIRoutines.h"

UIrtns::~UIrtns() = default;

unsigned char NullRoutines::NullFatalErrHandler(const char*, const char*, int) { return false; }
int NullRoutines::NullDrintfRtn(const char*, KyVaList) { return 0; }
Boolean NullRoutines::NullWaitingUI(Boolean, Long) { return false; }
Boolean NullRoutines::NullThermUI(const char*, Long, Long, Boolean) { return 0; }
void NullRoutines::NullUIstatReset() {}
void NullRoutines::NullUIstatClose() {}
void NullRoutines::NullUImsg(const char*, short, short) {}
short NullRoutines::NullUIdialog(const char*, const char*, short, UIicon_t, const char*, Boolean, const char*) {
  return 0;
}
