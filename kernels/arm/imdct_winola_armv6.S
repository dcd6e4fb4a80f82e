@ The long-block subband of the hybrid filterbank on ARMv6, hand-scheduled:
@ alias butterflies, fold, the two 9-point DCTs, recombination, window and
@ overlap, each step giving the words of its portable counterpart in
@ kernels/imdct_winola_steps.h and kernels/idct9_steps.h:
@
@   struct Imdct36_Armv6_Params {       (kernels/arm/imdct_winola_armv6.cpp)
@       const int32_t *cs_ca;           alias pairs, or null: no butterflies
@       const int32_t *cos_table;       the 27 fold coefficients
@       const int32_t *coeff9;          the 9-point DCT constants
@       const int32_t *wp, *wc;         window rows of the previous and the
@   };                                  current block type
@   void mp3d_imdct36_armv6(int32_t *x, int32_t *out, int32_t *ovl,
@                           const Imdct36_Armv6_Params *p);
@
@ x: the subband's 18 inputs (and the next subband's first 8, which the
@ butterflies rewrite); out: 18 samples, may be x; ovl: the subband's 9
@ overlap words, replaced by the new overlap.
@
@ Every product is SMMULR ((a b + 2^31) >> 32), SMMLAR or SMMLSR (acc plus
@ or minus the same rounded product, modulo 2^32): exactly the portable
@ mulhi_round, mulhi_round_add and mulhi_round_sub. Sums, differences and
@ shifts wrap as the portable ones do. Loads and stores go by LDM/STM over
@ adjacent words where the registers allow, and are issued at least three
@ cycles before their values are used where the schedule allows.

        .syntax unified
        .arm
        .arch   armv6

@ Frame of mp3d_imdct36_armv6 below the saved registers.
        .equ    F_AB, 0                 @ A[0..8], B[0..8]
        .equ    F_X, 72
        .equ    F_OUT, 76
        .equ    F_OVL, 80
        .equ    F_P, 84
        .equ    F_WC, 88
        .equ    F_SIZE, 92

@ Alias butterflies, r0 = x, r1 = cs_ca; for i = 0..7, lo = x[17-i],
@ up = x[18+i], (cs, ca) = cs_ca[2i], cs_ca[2i+1]:
@   x[17-i] = 2 (mulhi_round(cs, lo) - rounded ca up)      SMMULR, SMMLSR
@   x[18+i] = 2 (mulhi_round(cs, up) + rounded ca lo)      SMMULR, SMMLAR
@ Two butterflies at a time: r0 walks down over the lower lines, r2 up over
@ the upper ones, r1 over the coefficient pairs.
        .macro  alias_reduce
        add     r0, r0, #72
        mov     r2, r0
        .rept   4
        ldm     r1!, {r3-r6}            @ cs0, ca0, cs1, ca1
        ldmdb   r0!, {r7, r8}           @ lo1 = x[16-2k], lo0 = x[17-2k]
        ldm     r2, {r9, r10}           @ up0 = x[18+2k], up1 = x[19+2k]
        smmulr  lr, r3, r8              @ cs0 lo0
        smmulr  r3, r3, r9              @ cs0 up0
        smmulr  r11, r5, r7             @ cs1 lo1
        smmulr  r12, r5, r10            @ cs1 up1
        smmlsr  lr, r4, r9, lr          @ - ca0 up0
        smmlar  r3, r4, r8, r3          @ + ca0 lo0
        smmlsr  r11, r6, r10, r11       @ - ca1 up1
        smmlar  r12, r6, r7, r12        @ + ca1 lo1
        lsl     lr, lr, #1
        lsl     r3, r3, #1
        lsl     r11, r11, #1
        lsl     r12, r12, #1
        stm     r0, {r11, lr}           @ x[16-2k], x[17-2k]
        stm     r2!, {r3, r12}          @ x[18+2k], x[19+2k]
        .endr
        .endm

@ Fold, r0 = x, r1 = c, r2 = AB: for k = 0..8, p = mulhi_round(x[k], c[k]),
@ q = mulhi_round(x[17-k], c[17-k]), A[k] = p + q,
@ B[k] = 2 mulhi_round(p - q, c[18+k]). Two lines at a time from both ends
@ (lines 0..7 and 10..17 here, 8 and 9 in the function): r0 and r1 walk up
@ over x and c, r3 (set by the caller to x + 18) and r12 down from their
@ ends, lr over c[18..26], r2 over A.
        .macro  fold_pair
        ldm     r0!, {r4, r5}           @ x[k], x[k+1]
        ldm     r1!, {r6, r7}           @ c[k], c[k+1]
        ldmdb   r3!, {r8, r9}           @ x[16-k], x[17-k]
        ldmdb   r12!, {r10, r11}        @ c[16-k], c[17-k]
        smmulr  r4, r4, r6              @ p0
        smmulr  r9, r9, r11             @ q0
        smmulr  r5, r5, r7              @ p1
        smmulr  r8, r8, r10             @ q1
        ldm     lr!, {r6, r7}           @ c[18+k], c[19+k]
        sub     r10, r4, r9
        add     r4, r4, r9              @ A[k] = p0 + q0
        sub     r11, r5, r8
        add     r5, r5, r8              @ A[k+1] = p1 + q1
        smmulr  r10, r10, r6
        smmulr  r11, r11, r7
        stm     r2!, {r4, r5}
        lsl     r10, r10, #1            @ B[k]
        lsl     r11, r11, #1            @ B[k+1]
        str     r10, [r2, #28]
        str     r11, [r2, #32]
        .endm

        .macro  fold
        add     r12, r1, #72
        add     lr, r1, #72
        fold_pair
        fold_pair
        fold_pair
        fold_pair
        .endm

@ 9-point DCT in place on the nine words at p (a register or sp), r2 =
@ coeff9. All nine inputs come with one LDM; the even outputs come from the
@ sums e1..e4, the odd ones from the differences d1..d4, so that the
@ registers of one half are free for the coefficients of the other.
@ 4 x + 4 y is formed as (x + y) << 2: equal modulo 2^32.
        .macro  idct9 p
        ldm     \p, {r3-r11}            @ a0..a8
        add     r12, r6, r8             @ e1 = a3 + a5
        sub     r8, r6, r8              @ d1 = a3 - a5
        add     r6, r5, r9              @ e2 = a2 + a6
        sub     r9, r9, r5              @ d2 = a6 - a2
        add     r5, r4, r10             @ e3 = a1 + a7
        sub     r10, r4, r10            @ d3 = a1 - a7
        add     r4, r3, r11             @ e4 = a0 + a8
        sub     r11, r11, r3            @ d4 = a8 - a0
        add     r3, r5, r7              @ f = e3 + a4
        rsb     r7, r5, r7, lsl #1      @ g = 2 a4 - e3
        add     lr, r12, r6
        add     lr, lr, r4              @ h = e1 + e2 + e4
        add     r5, lr, r3              @ o0 = h + f
        sub     r3, lr, r3, lsl #1      @ o6 = h - 2 f
        str     r5, [\p]
        str     r3, [\p, #24]
        sub     r3, r6, r4              @ e2 - e4
        sub     r5, r12, r4             @ e1 - e4
        sub     r12, r12, r6            @ e1 - e2
        ldmib   r2, {r4, r6, lr}        @ c1, c2, c3
        smmulr  r3, r3, r4              @ m2
        smmulr  r5, r5, r6              @ m3
        smmulr  r12, r12, lr            @ m4
        sub     r4, r7, r3, lsl #2
        sub     r4, r4, r5, lsl #2      @ o4 = g - 4 m2 - 4 m3
        add     r6, r7, r5, lsl #2
        add     r6, r6, r12, lsl #2     @ o8 = g + 4 m3 + 4 m4
        add     lr, r7, r3, lsl #2
        rsb     lr, lr, r12, lsl #2     @ o2 = 4 m4 - (g + 4 m2)
        ldr     r3, [r2]                @ c0
        str     lr, [\p, #8]
        str     r4, [\p, #16]
        str     r6, [\p, #32]
        add     r4, r9, r11             @ d2 + d4
        sub     r5, r8, r11             @ d1 - d4
        add     r6, r8, r9              @ d1 + d2
        sub     r7, r8, r9
        add     r7, r7, r11             @ d1 - d2 + d4
        add     r12, r2, #16
        ldm     r12, {r8, r9, r11}      @ c4, c5, c6
        smmulr  r10, r10, r3            @ m1 = d3 c0
        smmulr  r7, r7, r3
        smmulr  r4, r4, r8              @ p1
        smmulr  r5, r5, r9              @ p2
        smmulr  r6, r6, r11             @ p3
        lsl     r7, r7, #2              @ o3
        sub     r8, r10, r4
        sub     r8, r8, r5
        lsl     r8, r8, #2              @ o5 = 4 (m1 - p1) - 4 p2
        add     r9, r10, r4
        add     r9, r9, r6
        lsl     r9, r9, #2              @ o7 = 4 (m1 + p1) + 4 p3
        sub     r11, r6, r10
        sub     r11, r11, r5
        lsl     r11, r11, #2            @ o1 = 4 p3 - 4 (m1 + p2)
        str     r11, [\p, #4]
        str     r7, [\p, #12]
        str     r8, [\p, #20]
        str     r9, [\p, #28]
        .endm

@ Recombination, window and overlap, r0 = AB, r1 = out, r2 = ovl, r3 = wp,
@ wc at [sp, #wc]; AB[0..8] is used as scratch. Three passes, each on
@ groups of adjacent words:
@   1. out[k] = mulhi_round(ovl[k], wp[18 + k]),
@      out[17 - k] = mulhi_round(ovl[k], wp[35 - k])        (SMMULR)
@   2. the running sums u, t of A and B; the new overlap z goes to ovl,
@      the first half v to AB[0..8]
@   3. out[i] += mulhi_round(v[i], wc[i]),
@      out[17 - i] += mulhi_round(v[i], wc[17 - i])        (SMMLAR)
        .macro  imdct36_window wc

        @ Pass 1, ovl[0..4]: out[0..4] and out[13..17].
        ldm     r2, {r4-r8}             @ ovl[0..4]
        add     r12, r3, #72
        ldm     r12, {r9-r12, lr}       @ wp[18..22]
        smmulr  r9, r4, r9
        smmulr  r10, r5, r10
        smmulr  r11, r6, r11
        smmulr  r12, r7, r12
        smmulr  lr, r8, lr
        stm     r1, {r9-r12, lr}        @ out[0..4]
        add     r12, r3, #124
        ldm     r12, {r9-r12, lr}       @ wp[31..35]
        smmulr  r9, r8, r9              @ out[13] = ovl[4] wp[31]
        smmulr  r10, r7, r10
        smmulr  r11, r6, r11
        smmulr  r12, r5, r12
        smmulr  lr, r4, lr              @ out[17] = ovl[0] wp[35]
        add     r4, r1, #52
        stm     r4, {r9-r12, lr}        @ out[13..17]

        @ Pass 1, ovl[5..8]: out[5..8] and out[9..12].
        add     r8, r2, #20
        ldm     r8, {r4-r7}             @ ovl[5..8]
        add     r12, r3, #92
        ldm     r12, {r8-r11}           @ wp[23..26]
        smmulr  r8, r4, r8
        smmulr  r9, r5, r9
        smmulr  r10, r6, r10
        smmulr  r11, r7, r11
        add     r12, r1, #20
        stm     r12, {r8-r11}           @ out[5..8]
        add     r12, r3, #108
        ldm     r12, {r8-r11}           @ wp[27..30]
        smmulr  r8, r7, r8              @ out[9] = ovl[8] wp[27]
        smmulr  r9, r6, r9
        smmulr  r10, r5, r10
        smmulr  r11, r4, r11            @ out[12] = ovl[5] wp[30]
        add     r12, r1, #36
        stm     r12, {r8-r11}           @ out[9..12]

        @ Pass 2: s_0 = B[0], u_0 = 2 A[0], t_0 = u_0 - 4 s_0; for j >= 1
        @ s_j = B[j] - s_{j-1}, u_j = t_{j-1} + 2 A[j], t_j = u_j - 4 s_j.
        @ New overlap z = (-u4, t3, -u3, t2, -u2, t1, -u1, t0, -u0), first
        @ half v = (-t4, u5, -t5, u6, -t6, u7, -t7, u8, -t8) over A, whose
        @ words are all loaded before they are overwritten.
        @ r10 s, r11 u, r12 t, lr the negated value to store.
        add     r3, r0, #36
        ldm     r0, {r4-r6}             @ A[0..2]
        ldm     r3!, {r7-r9}            @ B[0..2]
        mov     r11, r4, lsl #1
        sub     r12, r11, r7, lsl #2
        rsb     lr, r11, #0
        str     r12, [r2, #28]          @ ovl[7] = t0
        str     lr, [r2, #32]           @ ovl[8] = -u0
        sub     r10, r8, r7
        add     r11, r12, r5, lsl #1
        sub     r12, r11, r10, lsl #2
        rsb     lr, r11, #0
        str     r12, [r2, #20]          @ ovl[5] = t1
        str     lr, [r2, #24]           @ ovl[6] = -u1
        sub     r10, r9, r10
        add     r11, r12, r6, lsl #1
        ldm     r3!, {r7-r9}            @ B[3..5]
        sub     r12, r11, r10, lsl #2
        add     r4, r0, #12
        ldm     r4, {r4-r6}             @ A[3..5]
        rsb     lr, r11, #0
        str     r12, [r2, #12]          @ ovl[3] = t2
        str     lr, [r2, #16]           @ ovl[4] = -u2
        sub     r10, r7, r10
        add     r11, r12, r4, lsl #1
        sub     r12, r11, r10, lsl #2
        rsb     lr, r11, #0
        str     r12, [r2, #4]           @ ovl[1] = t3
        str     lr, [r2, #8]            @ ovl[2] = -u3
        sub     r10, r8, r10
        add     r11, r12, r5, lsl #1
        sub     r12, r11, r10, lsl #2
        rsb     lr, r11, #0
        str     lr, [r2]                @ ovl[0] = -u4
        rsb     lr, r12, #0
        str     lr, [r0]                @ v[0] = -t4
        sub     r10, r9, r10
        add     r11, r12, r6, lsl #1
        ldm     r3, {r7-r9}             @ B[6..8]
        sub     r12, r11, r10, lsl #2
        add     r4, r0, #24
        ldm     r4, {r4-r6}             @ A[6..8]
        rsb     lr, r12, #0
        str     r11, [r0, #4]           @ v[1] = u5
        str     lr, [r0, #8]            @ v[2] = -t5
        sub     r10, r7, r10
        add     r11, r12, r4, lsl #1
        sub     r12, r11, r10, lsl #2
        rsb     lr, r12, #0
        str     r11, [r0, #12]          @ v[3] = u6
        str     lr, [r0, #16]           @ v[4] = -t6
        sub     r10, r8, r10
        add     r11, r12, r5, lsl #1
        sub     r12, r11, r10, lsl #2
        rsb     lr, r12, #0
        str     r11, [r0, #20]          @ v[5] = u7
        str     lr, [r0, #24]           @ v[6] = -t7
        sub     r10, r9, r10
        add     r11, r12, r6, lsl #1
        ldr     r6, [sp, #\wc]           @ wc
        sub     r12, r11, r10, lsl #2
        rsb     lr, r12, #0
        str     r11, [r0, #28]          @ v[7] = u8
        str     lr, [r0, #32]           @ v[8] = -t8

        @ Pass 3, three words of v at a time: out[i..i+2] from the front
        @ of wc and out, out[15-i..17-i] from their back (r11, lr moving
        @ down).
        mov     r12, r6
        add     r11, r6, #72
        add     lr, r1, #72
        .rept   3
        ldm     r0!, {r2-r4}            @ v[i..i+2]
        ldm     r12!, {r5-r7}           @ wc[i..i+2]
        ldm     r1, {r8-r10}            @ out[i..i+2]
        smmlar  r8, r2, r5, r8
        smmlar  r9, r3, r6, r9
        smmlar  r10, r4, r7, r10
        ldmdb   r11!, {r5-r7}           @ wc[15-i..17-i]
        stm     r1!, {r8-r10}
        ldmdb   lr, {r8-r10}            @ out[15-i..17-i]
        smmlar  r8, r4, r5, r8          @ out[15-i] += v[i+2] wc[15-i]
        smmlar  r9, r3, r6, r9
        smmlar  r10, r2, r7, r10        @ out[17-i] += v[i] wc[17-i]
        stmdb   lr!, {r8-r10}
        .endr
        .endm

        .text
        .align  2
        .global mp3d_imdct36_armv6
        .hidden mp3d_imdct36_armv6
        .type   mp3d_imdct36_armv6, %function
mp3d_imdct36_armv6:
        push    {r4-r11, lr}
        ldr     r4, [r3]                @ cs_ca
        sub     sp, sp, #F_SIZE
        add     r12, sp, #F_X
        stm     r12, {r0-r3}            @ x, out, ovl, p
        movs    r1, r4
        beq     1f
        alias_reduce
        ldr     r3, [sp, #F_P]
        ldr     r0, [sp, #F_X]
1:      ldr     r1, [r3, #4]            @ cos_table
        mov     r2, sp
        add     r3, r0, #72
        fold
        @ Line 8 of the fold and its mirror, line 9, with the loads for the
        @ 9-point DCTs between the products.
        ldr     r6, [r1]                @ c[8]
        ldr     r4, [r0]                @ x[8]
        ldr     r11, [r12, #-4]         @ c[9]
        ldr     r9, [r3, #-4]           @ x[9]
        smmulr  r4, r4, r6
        smmulr  r9, r9, r11
        ldr     r7, [lr]                @ c[26]
        ldr     r12, [sp, #F_P]
        sub     r10, r4, r9
        add     r4, r4, r9
        smmulr  r10, r10, r7
        str     r4, [sp, #F_AB + 32]    @ A[8]
        add     r1, sp, #F_AB + 36
        ldr     r2, [r12, #8]           @ coeff9
        lsl     r10, r10, #1
        str     r10, [sp, #F_AB + 68]   @ B[8]
        idct9   sp
        idct9   r1
        ldr     r3, [sp, #F_P]
        ldr     r1, [sp, #F_OUT]
        ldr     r2, [sp, #F_OVL]
        ldr     r12, [r3, #16]          @ wc
        ldr     r3, [r3, #12]           @ wp
        mov     r0, sp
        str     r12, [sp, #F_WC]
        imdct36_window F_WC
        add     sp, sp, #F_SIZE
        pop     {r4-r11, pc}
        .size   mp3d_imdct36_armv6, .-mp3d_imdct36_armv6


@ The short-block subbands of the hybrid filterbank on ARMv6: for each
@ subband the three 12-point IMDCTs of its interleaved windows, then window
@ and overlap-add, each step giving the words of imdct12_steps and
@ window_convert_steps in kernels/imdct_winola_steps.h:
@
@   struct Imdct12_Armv6_Params {       (kernels/arm/imdct_winola_armv6.cpp)
@       const int32_t *cos_short;       the 9 coefficients of the 12-point IMDCT
@       const int32_t *window;          the short window row
@       int32_t count;                  subbands, at least 1
@   };
@   void mp3d_imdct12_run_armv6(const int32_t *x, int32_t *out, int32_t *ovl,
@                               const Imdct12_Armv6_Params *p);
@
@ x: 18 inputs a subband, window w at x[w], x[w + 3], ..., x[w + 15]; out:
@ 18 samples a subband, may be x (a subband's inputs are all read before its
@ first output is written); ovl: 9 overlap words a subband, replaced.

@ Frame of mp3d_imdct12_run_armv6 below the saved registers.
        .equ    G_S, 0                  @ the three windows' s[0..5]
        .equ    G_X, 72
        .equ    G_OUT, 76
        .equ    G_OVL, 80
        .equ    G_P, 84
        .equ    G_N, 88                 @ subbands left
        .equ    G_SIZE, 92

@ 12-point IMDCT of window w, r0 = x, r1 = c: P[k] = mulhi_round(x[w + 3k],
@ c[k]); the sums and differences of P[k], P[5-k] give the even half
@ through sqrt(3)/2, the odd half through c[6..8], and the six words s[0..5]
@ go to the frame at s + 6w. Shifts of sums are sums of shifts modulo
@ 2^32, so x2 and x4 fold into the shifted operands.
        .macro  imdct12 w
        ldr     r4, [r0, #(4 * \w)]
        ldr     r5, [r0, #(4 * \w + 12)]
        ldr     r6, [r0, #(4 * \w + 24)]
        ldm     r1, {r2, r3, r10, r11, r12, lr} @ c[0..5]
        ldr     r7, [r0, #(4 * \w + 36)]
        ldr     r8, [r0, #(4 * \w + 48)]
        ldr     r9, [r0, #(4 * \w + 60)]
        smmulr  r4, r4, r2              @ P0
        smmulr  r5, r5, r3              @ P1
        smmulr  r6, r6, r10             @ P2
        ldr     r10, [r1, #24]          @ c[6]
        smmulr  r7, r7, r11             @ P3
        ldr     r11, [r1, #28]          @ c[7]
        smmulr  r8, r8, r12             @ P4
        ldr     r12, [r1, #32]          @ c[8]
        smmulr  r9, r9, lr              @ P5
        ldr     lr, .Lsqrt3_over_2
        add     r2, r6, r7              @ e2 = P2 + P3
        sub     r7, r6, r7              @ d2 = P2 - P3
        add     r6, r5, r8              @ e1 = P1 + P4
        sub     r8, r5, r8              @ d1 = P1 - P4
        smmulr  r7, r7, r12             @ D2 / 2
        add     r5, r4, r9              @ e0 = P0 + P5
        sub     r9, r4, r9              @ d0 = P0 - P5
        smmulr  r8, r8, r11             @ D1 / 2
        add     r3, r5, r2              @ E = e0 + e2
        sub     r4, r5, r2              @ F = e0 - e2
        smmulr  r9, r9, r10             @ D0 / 2
        smmulr  r4, r4, lr              @ f / 4
        add     r2, r6, r3              @ S / 2 = e1 + E
        sub     r3, r3, r6, lsl #1      @ G = E - 2 e1
        lsl     r7, r7, #1              @ D2
        lsl     r9, r9, #1              @ D0
        sub     r5, r9, r7              @ H = D0 - D2
        add     r6, r9, r7              @ J = D0 + D2
        smmulr  r5, r5, lr              @ h / 4
        add     lr, r6, r8, lsl #1      @ R = J + D1
        sub     r9, r6, r8, lsl #2      @ Q = J - 2 D1
        lsl     r2, r2, #1              @ S
        sub     r10, r2, lr, lsl #2     @ s4 = S - 4 R
        add     r12, r10, r4, lsl #3    @ V = s4 + 2 f
        rsb     r8, lr, r5, lsl #2      @ W = h - R
        rsb     r4, r12, r8, lsl #2     @ s0 = 4 W - V
        sub     r5, r9, r8              @ Q - W
        rsb     r6, r4, r3, lsl #1      @ s1 = 2 G - s0
        rsb     r7, r6, r5, lsl #2      @ s2 = 4 (Q - W) - s1
        rsb     r9, r12, #0             @ s3 = -V
        rsb     r11, r2, #0             @ s5 = -S
        .if \w == 0
        stm     sp, {r4, r6, r7, r9, r10, r11}
        .else
        add     r12, sp, #(G_S + 24 * \w)
        stm     r12, {r4, r6, r7, r9, r10, r11}
        .endif
        .endm

@ Six words of window and overlap-add from a = r4-r6 and b = r7-r9, r0 =
@ window W, lr = destination (advanced by six words): for m = 0..2
@   d[m]     = mulhi_round(a[m], W[6 + m]) + rounded b[m] W[m]
@   d[5 - m] = mulhi_round(a[m], W[11 - m]) + rounded b[m] W[5 - m]
@ (SMMULR, SMMLAR), doubled when dbl is 1. The caller has loaded W[0..2]
@ into r1-r3 and W[6..8] into r10-r12.
        .macro  window6 dbl
        smmulr  r10, r4, r10            @ a0 W6
        smmulr  r11, r5, r11
        smmulr  r12, r6, r12
        smmlar  r10, r7, r1, r10        @ + b0 W0
        smmlar  r11, r8, r2, r11
        smmlar  r12, r9, r3, r12        @ + b2 W2
        add     r3, r0, #36
        ldm     r3, {r1-r3}             @ W[9..11]
        .if \dbl
        lsl     r10, r10, #1
        lsl     r11, r11, #1
        lsl     r12, r12, #1
        .endif
        stm     lr!, {r10-r12}          @ d[0..2]
        add     r12, r0, #12
        ldm     r12, {r10-r12}          @ W[3..5]
        smmulr  r3, r4, r3              @ a0 W11
        smmulr  r2, r5, r2
        smmulr  r1, r6, r1              @ a2 W9
        smmlar  r3, r7, r12, r3         @ + b0 W5
        smmlar  r2, r8, r11, r2
        smmlar  r1, r9, r10, r1         @ + b2 W3
        .if \dbl
        lsl     r1, r1, #1
        lsl     r2, r2, #1
        lsl     r3, r3, #1
        .endif
        stm     lr!, {r1-r3}            @ d[3..5]
        .endm

@ W[0..2] into r1-r3 and W[6..8] into r10-r12, r0 = W.
        .macro  window_lo
        ldm     r0, {r1-r3}
        add     r12, r0, #24
        ldm     r12, {r10-r12}
        .endm

        .align  2
        .global mp3d_imdct12_run_armv6
        .hidden mp3d_imdct12_run_armv6
        .type   mp3d_imdct12_run_armv6, %function
mp3d_imdct12_run_armv6:
        push    {r4-r11, lr}
        ldr     r12, [r3, #8]           @ count
        sub     sp, sp, #G_SIZE
        add     lr, sp, #G_X
        stm     lr, {r0-r3, r12}        @ x, out, ovl, p, count
        ldr     r1, [r3]                @ cos_short
1:      imdct12 0
        imdct12 1
        imdct12 2

        @ out[0..5]: the finished half of the overlap, kept doubled.
        ldr     r3, [sp, #G_P]
        ldr     r2, [sp, #G_OVL]
        ldr     lr, [sp, #G_OUT]
        ldr     r0, [r3, #4]            @ W
        ldm     r2, {r4-r9}             @ ovl[0..5]
        asr     r4, r4, #1
        asr     r5, r5, #1
        asr     r6, r6, #1
        asr     r7, r7, #1
        asr     r8, r8, #1
        asr     r9, r9, #1
        stm     lr!, {r4-r9}
        @ out[6..11] from ovl[6..8] and window 0's s[0..2].
        add     r4, r2, #24
        ldm     r4, {r4-r6}             @ ovl[6..8]
        window_lo
        ldm     sp, {r7-r9}             @ s0[0..2]
        window6 0
        @ out[12..17] from window 0's s[3..5] and window 1's s[0..2].
        window_lo
        add     r4, sp, #(G_S + 12)
        ldm     r4, {r4-r9}
        window6 0
        @ ovl[0..5] from window 1's s[3..5] and window 2's s[0..2], doubled;
        @ ovl[6..8] = window 2's s[3..5].
        window_lo
        add     r4, sp, #(G_S + 36)
        ldm     r4, {r4-r9}
        ldr     lr, [sp, #G_OVL]
        window6 1
        add     r4, sp, #(G_S + 60)
        ldm     r4, {r4-r6}
        stm     lr!, {r4-r6}            @ lr: the next subband's overlap

        ldr     r12, [sp, #G_N]
        ldr     r0, [sp, #G_X]
        ldr     r1, [sp, #G_OUT]
        subs    r12, r12, #1
        add     r0, r0, #72
        add     r1, r1, #72
        add     r3, sp, #G_X
        stm     r3, {r0, r1, lr}        @ x, out, ovl of the next subband
        str     r12, [sp, #G_N]
        ldrne   r3, [sp, #G_P]
        ldrne   r1, [r3]                @ cos_short
        bne     1b
        add     sp, sp, #G_SIZE
        pop     {r4-r11, pc}
        .align  2
.Lsqrt3_over_2:
        .word   0x6ED9EBA1              @ sqrt(3)/2, Q31
        .size   mp3d_imdct12_run_armv6, .-mp3d_imdct12_run_armv6

        .section .note.GNU-stack, "", %progbits
