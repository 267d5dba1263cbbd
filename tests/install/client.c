/* SPDX-License-Identifier: Apache-2.0 */
#include <stdio.h>
#include <wvad.h>

int main(void) {
  WVADInst inst;
  int code = wVadInitialize(NULL);
  if (code == 0) code = wVadCreateInst(&inst);
  if (code == 0) code = wVadStart(inst);
  if (code == 0) code = wVadStop(inst);
  if (code == 0) code = wVadDestroyInst(inst);
  if (code == 0) code = wVadUninitialize();
  return printf("wvad %s answers %d\n", WVAD_VERSION, code) < 0 || code != 0;
}
