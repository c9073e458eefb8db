// filter/exp_rows.cpp: the constants of the vector exponential.
#include "filter/exp.h"

namespace exp_rows {

const Row largest = row(0x42B0C0A5);  //  88.3762626647949
const Row smallest = row(0xC2B0C0A5); // -88.3762626647949
const Row log2e = row(0x3FB8AA3B);    //  1.44269504088896341
const Row q1 = row(0x3F318000);       //  0.693359375, and
const Row q2 = row(0xB95E8083);       // -2.12194440e-4: ln 2 in two parts
const Row c0 = row(0x39506967);       //  1.9875691500e-4
const Row c1 = row(0x3AB743CE);       //  1.3981999507e-3
const Row c2 = row(0x3C088908);       //  8.3334519073e-3
const Row c3 = row(0x3D2AA9C1);       //  4.1665795894e-2
const Row c4 = row(0x3E2AAAAA);       //  1.6666665459e-1
const Row half = row(0x3F000000);
const Row one = row(0x3F800000);
const Row bias = row(127); // the integer

} // namespace exp_rows
