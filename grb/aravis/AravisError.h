#ifndef GRB_ARAVIS_ARAVISERROR_H
#define GRB_ARAVIS_ARAVISERROR_H

#include <GrbC/GrbCTypes.h>

#include <string>

typedef struct _GError GError;

namespace grb::aravis {

// The one translation of Aravis's failures into SDK codes. Aravis's own text of the
// last failure is kept per thread, since the codes cannot carry it.
class AravisError
{
public:
    // Frees error (which may be null: success) and returns its code.
    static GrbErrorType Take(GError* error);
    // Records a failure found without Aravis (a refused argument, a lost device).
    static GrbErrorType Fail(GrbErrorType code, const std::string& message);
    // Hands an SDK code through Aravis: a device of our own that fails inside an Aravis
    // call sets it, and Take gives the same code back.
    static void Raise(GError** error, GrbErrorType code, const std::string& message);
    static std::string LastMessage();
};

} // namespace grb::aravis

#endif
