/* Built against an installed Vellmark: a file too short to be a BTC texture gets the box. */
#include <vellmark/vellmark.h>

int main(void) {
  static const char notBtc[] = "BTC";
  BTC2TGA(notBtc, "never-written.tga", 3);
  return 0;
}
