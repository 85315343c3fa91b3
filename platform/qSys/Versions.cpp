#include <qSys/Versions.h>

bool IsVersion16bit(unsigned int mathVersion) noexcept {
  return mathVersion < c_firstMathVersion32bit;
}

bool IsVersion64bit(unsigned int mathVersion) noexcept {
  return mathVersion >= c_firstMathVersion64bit;
}
