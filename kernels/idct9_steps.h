// The 9-point DCT-II of the 36-point IMDCT, written once over an arithmetic
// record (kernels/portable_ops.h): the portable kernel and the vector kernel
// instantiate it, so they share one sequence of steps.
#ifndef MP3D_KERNELS_IDCT9_STEPS_H
#define MP3D_KERNELS_IDCT9_STEPS_H

#include <cstdint>

namespace mp3d {

// a[k] = sum_n a[n] cos(pi k (2n + 1) / 18), doubled for k >= 1, in place.
template <class Ops>
[[gnu::always_inline]] inline void idct9_steps(typename Ops::Lane *a, const int32_t *coeff9) {
    using T = typename Ops::Lane;
    const auto x2 = [](T v) { return Ops::shl(v, 1); };
    const auto x4 = [](T v) { return Ops::shl(v, 2); };
    const T e1 = Ops::add(a[3], a[5]), d1 = Ops::sub(a[3], a[5]);
    const T e2 = Ops::add(a[2], a[6]), d2 = Ops::sub(a[6], a[2]);
    const T e3 = Ops::add(a[1], a[7]), d3 = Ops::sub(a[1], a[7]);
    const T e4 = Ops::add(a[0], a[8]), d4 = Ops::sub(a[8], a[0]);

    const T f = Ops::add(e3, a[4]);
    const T g = Ops::sub(x2(a[4]), e3);
    const T h = Ops::add(Ops::add(e1, e2), e4);

    const T o0 = Ops::add(h, f);
    const T o6 = Ops::sub(h, x2(f));

    const T m1 = Ops::mulhi_round(d3, coeff9[0]);
    const T m2 = Ops::mulhi_round(Ops::sub(e2, e4), coeff9[1]);
    const T m3 = Ops::mulhi_round(Ops::sub(e1, e4), coeff9[2]);
    const T m4 = Ops::mulhi_round(Ops::sub(e1, e2), coeff9[3]);

    const T o4 = Ops::sub(Ops::sub(g, x4(m2)), x4(m3));
    const T o8 = Ops::add(Ops::add(g, x4(m3)), x4(m4));
    const T o2 = Ops::sub(x4(m4), Ops::add(g, x4(m2)));

    const T o3 = x4(Ops::mulhi_round(Ops::add(Ops::sub(d1, d2), d4), coeff9[0]));

    const T p1 = Ops::mulhi_round(Ops::add(d2, d4), coeff9[4]);
    const T p2 = Ops::mulhi_round(Ops::sub(d1, d4), coeff9[5]);
    const T p3 = Ops::mulhi_round(Ops::add(d1, d2), coeff9[6]);

    const T o5 = Ops::sub(x4(Ops::sub(m1, p1)), x4(p2));
    const T o7 = Ops::add(x4(Ops::add(m1, p1)), x4(p3));
    const T o1 = Ops::sub(x4(p3), x4(Ops::add(m1, p2)));

    a[0] = o0;
    a[1] = o1;
    a[2] = o2;
    a[3] = o3;
    a[4] = o4;
    a[5] = o5;
    a[6] = o6;
    a[7] = o7;
    a[8] = o8;
}

}  // namespace mp3d

#endif  // MP3D_KERNELS_IDCT9_STEPS_H
