// spectrum/decibels_rows.cpp: the constants of the vector logarithm.
#include "spectrum/decibels.h"

namespace decibel_rows {

const Row flt_min = row(0x00800000);
const Row minus_127 = row(0xFFFFFF81);    // the integer
const Row but_exponent = row(0x807FFFFF); // sign and mantissa
const Row half = row(0x3F000000);
const Row one = row(0x3F800000);
const Row minus_one = row(0xBF800000);
const Row ten = row(0x41200000);
const Row sqrt_half = row(0x3F3504F3); //  0.70710677
const Row ln10 = row(0x40135D8E);      //  2.3025851
const Row q1 = row(0xB95E8083);        // -2.12194440e-4, and
const Row q2 = row(0x3F318000);        //  0.693359375: ln 2 in two parts
const Row p0 = row(0x3D9021BB);        //  7.0376836e-2
const Row p1 = row(0xBDEBD1B8);        // -1.1514610e-1
const Row p2 = row(0x3DEF251A);        //  1.1676998e-1
const Row p3 = row(0xBDFE5D4F);        // -1.2420141e-1
const Row p4 = row(0x3E11E9BF);        //  1.4249323e-1
const Row p5 = row(0xBE2AAE50);        // -1.6668057e-1
const Row p6 = row(0x3E4CCEAC);        //  2.0000714e-1
const Row p7 = row(0xBE7FFFFC);        // -2.4999994e-1
const Row p8 = row(0x3EAAAAAA);        //  3.3333331e-1

} // namespace decibel_rows
