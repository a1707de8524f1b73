#ifndef GRB_TEXTBUFFER_H
#define GRB_TEXTBUFFER_H

#include <GrbC/GrbCTypes.h>

#include <string>

namespace grb {

// The two-call text read of every SDK getter: a null buffer learns the size with its
// NUL; a short buffer gets -9 and the size needed.
GrbErrorType CopyText(const std::string& text, char* buffer, unsigned int& length);

} // namespace grb

#endif
