/* sin and cos for the module, in place of the C library's.
 *
 * The module's C library computes them to within an ulp, so that a result
 * near the midpoint of two doubles may round the other way than the
 * native program's: one bit of a rotation's sine, then a scale of
 * 0.99999999999999989 where the program finds exactly 1, and an attribute
 * more in the output. Computed in 113-bit long double and rounded once,
 * they give the double nearest the true value, which is what the native
 * program's C library returns. Only rotations call them, a few times a
 * node: the soft float costs nothing that shows. */
#include <math.h>

double sin(double x) { return (double)sinl((long double)x); }
double cos(double x) { return (double)cosl((long double)x); }
