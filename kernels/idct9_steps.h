// The 9-point DCT-II of the 36-point IMDCT, written once for any lane type:
// Ops supplies add, sub, x2, x4 (wrapping) and mulhi(c, v) (the rounded upper
// word of c v) for T, a 32-bit value or a vector of them. The portable kernel
// and the vector kernels instantiate it, so they share one sequence of steps.
#ifndef MP3D_KERNELS_IDCT9_STEPS_H
#define MP3D_KERNELS_IDCT9_STEPS_H

#include <cstdint>

namespace mp3d {

// a[k] = sum_n a[n] cos(pi k (2n + 1) / 18), doubled for k >= 1, in place.
template <class Ops, class T>
[[gnu::always_inline]] inline void idct9_steps(T *a, const int32_t *coeff9) {
    const T e1 = Ops::add(a[3], a[5]), d1 = Ops::sub(a[3], a[5]);
    const T e2 = Ops::add(a[2], a[6]), d2 = Ops::sub(a[6], a[2]);
    const T e3 = Ops::add(a[1], a[7]), d3 = Ops::sub(a[1], a[7]);
    const T e4 = Ops::add(a[0], a[8]), d4 = Ops::sub(a[8], a[0]);

    const T f = Ops::add(e3, a[4]);
    const T g = Ops::sub(Ops::x2(a[4]), e3);
    const T h = Ops::add(Ops::add(e1, e2), e4);

    const T o0 = Ops::add(h, f);
    const T o6 = Ops::sub(h, Ops::x2(f));

    const T m1 = Ops::mulhi(coeff9[0], d3);
    const T m2 = Ops::mulhi(coeff9[1], Ops::sub(e2, e4));
    const T m3 = Ops::mulhi(coeff9[2], Ops::sub(e1, e4));
    const T m4 = Ops::mulhi(coeff9[3], Ops::sub(e1, e2));

    const T o4 = Ops::sub(Ops::sub(g, Ops::x4(m2)), Ops::x4(m3));
    const T o8 = Ops::add(Ops::add(g, Ops::x4(m3)), Ops::x4(m4));
    const T o2 = Ops::sub(Ops::x4(m4), Ops::add(g, Ops::x4(m2)));

    const T o3 = Ops::x4(Ops::mulhi(coeff9[0], Ops::add(Ops::sub(d1, d2), d4)));

    const T p1 = Ops::mulhi(coeff9[4], Ops::add(d2, d4));
    const T p2 = Ops::mulhi(coeff9[5], Ops::sub(d1, d4));
    const T p3 = Ops::mulhi(coeff9[6], Ops::add(d1, d2));

    const T o5 = Ops::sub(Ops::x4(Ops::sub(m1, p1)), Ops::x4(p2));
    const T o7 = Ops::add(Ops::x4(Ops::add(m1, p1)), Ops::x4(p3));
    const T o1 = Ops::sub(Ops::x4(p3), Ops::x4(Ops::add(m1, p2)));

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
