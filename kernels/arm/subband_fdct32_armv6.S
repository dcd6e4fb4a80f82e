@ DCT stage of half a granule of the synthesis on ARMv6 (ARM mode): the
@ 32-point DCT-II of nine time slots with the same arithmetic as the portable
@ steps in kernels/subband_fdct32_steps.h, product for product:
@
@   mp3d_fdct32_half_armv6(slots, parity, synthesis, dct8_coeff, dct32_coeff)
@
@ Slot k (k = 0..8) reads its 32 samples at slots[k + 18 n], negated at odd n
@ when parity ^ (k & 1) is non-zero (the frequency inversion), and goes to
@ the history as subband_dct9 places it: even k to column 4 - k/2 of the even
@ bank, odd k to column 3 - (k - 1)/2 of the odd bank, X[16 + r] to row r of
@ the upper quadrant and -X[15 - r] to row r of the lower one (384 words
@ above the upper one in both banks).
@
@ Every rounded product is one SMMULR, SMMLAR or SMMLSR, as in Armv6_Ops.
@ The doublings of mul_q31 (wrap_shl by 1) and the shifts that follow the
@ 8-point DCT's rotations are carried along and applied where the value is
@ next used (a shifted operand of the sum that consumes it), which gives the
@ same word modulo 2^32 as shifting first.
@
@ Stack frame: 32 words E, F, G, H of the folds, row n = E[n], F[n]/2,
@ G[n], H[n]/2 (one STM per row); 8 words of the G block's 8-point DCT,
@ kept for the odd outputs; the loop's arguments and slot number.

        .syntax unified
        .arch   armv6
        .arm
        .text

        .set    LOWER, 1536             @ bytes from upper[0] to lower[0]
        .set    GBUF, 128               @ the G block's outputs on the stack
        .set    SLOTS, 160              @ slots
        .set    PARITY, 164
        .set    SYNTH, 168              @ synthesis
        .set    SLOT_K, 172
        .set    COEFF8, 176             @ dct8_coeff
        .set    FRAME, 180

@ X[i] into the history: i >= 16 to upper row i - 16, i < 16 negated to lower
@ row 15 - i. tmp takes the negated word.
        .macro  putx i, reg, tmp
        .if \i >= 16
        str     \reg, [r2, #48 * (\i - 16)]
        .else
        rsb     \tmp, \reg, #0
        str     \tmp, [r2, #LOWER + 48 * (15 - \i)]
        .endif
        .endm

@ Both folds of row n (m = 15 - n): s = a + b of the pairs (x[n], x[31 - n])
@ and (x[m], x[16 + n]), d_n = 2 mulhi(a - b, kn), d_m = 2 mulhi(a - b, km);
@ E = s_n + s_m, F/2 = mulhi(s_n - s_m, kh), G = d_n + d_m,
@ H/2 = mulhi(d_n - d_m, kh). With inversion, the odd-indexed sample of each
@ pair enters negated; -(a + b) is formed as s - 2b.
@ In: r0 slot, r1 dct32 coefficients, lr the row's place on the stack
@ (advanced by 16).
        .macro  fold n, inv
        ldr     r4, [r0, #72 * \n]              @ x[n]
        ldr     r5, [r0, #72 * (31 - \n)]       @ x[31 - n]
        ldr     r6, [r0, #72 * (15 - \n)]       @ x[15 - n]
        ldr     r7, [r0, #72 * (16 + \n)]       @ x[16 + n]
        ldr     r8, [r1, #4 * (6 * (\n / 2) + (\n % 2))]       @ kn
        ldr     r9, [r1, #4 * (6 * (\n / 2) + 2 + (\n % 2))]   @ km
        ldr     r10, [r1, #4 * (6 * (\n / 2) + 4 + (\n % 2))]  @ kh
        .if \inv == 0
        add     r11, r4, r5             @ s_n
        sub     r4, r4, r5              @ d_n
        add     r12, r6, r7             @ s_m
        sub     r6, r6, r7              @ d_m
        .elseif (\n % 2) == 0
        sub     r11, r4, r5             @ x[31 - n] negated
        add     r4, r4, r5
        sub     r12, r7, r6             @ x[15 - n] negated
        sub     r6, r12, r7, lsl #1
        .else
        sub     r11, r5, r4             @ x[n] negated
        sub     r4, r11, r5, lsl #1
        sub     r12, r6, r7             @ x[16 + n] negated
        add     r6, r6, r7
        .endif
        smmulr  r4, r4, r8              @ d_n kn
        smmulr  r6, r6, r9              @ d_m km
        add     r5, r11, r12            @ E
        sub     r11, r11, r12
        smmulr  r7, r11, r10            @ F / 2
        lsl     r4, r4, #1              @ d_n
        add     r8, r4, r6, lsl #1      @ G = d_n + d_m
        sub     r9, r4, r6, lsl #1      @ d_n - d_m
        smmulr  r9, r9, r10             @ H / 2
        stmia   lr!, {r5, r7, r8, r9}
        .endm

@ 8-point DCT of column col of the fold rows (0 E, 1 F, 2 G, 3 H); halves:
@ the column holds halves of the inputs; dbl: the outputs are the doubled
@ form (out[k] = 2 P8[k] for k >= 1, see dct8 in the steps). Out, each to be shifted left by the
@ amount given (plain / doubled):
@   out0 r10 (0/0)  out1 lr (1/2)  out2 r12 (2/3)  out3 r8 (2/3)
@   out4 r4 (1/2)   out5 r1 (2/3)  out6 r11 (2/3)  out7 r7 (1/2)
@ r3 holds the dct8 coefficients; r0, r5, r6, r9 are free afterwards.
        .macro  dct8 col, dbl, halves
        ldr     r4, [sp, #4 * \col]             @ P0
        ldr     r11, [sp, #112 + 4 * \col]      @ P7
        ldr     r5, [sp, #16 + 4 * \col]        @ P1
        ldr     r10, [sp, #96 + 4 * \col]       @ P6
        ldr     r6, [sp, #32 + 4 * \col]        @ P2
        ldr     r9, [sp, #80 + 4 * \col]        @ P5
        ldr     r7, [sp, #48 + 4 * \col]        @ P3
        ldr     r8, [sp, #64 + 4 * \col]        @ P4
        ldr     r0, [r3, #8]                    @ c2
        ldr     r1, [r3, #0]                    @ c0
        .if \halves == 0
        add     r12, r4, r11            @ p0
        sub     r4, r4, r11             @ q0
        add     r11, r5, r10            @ p1
        sub     r5, r5, r10             @ q1
        add     r10, r6, r9             @ p2
        sub     r6, r6, r9              @ q2
        add     r9, r7, r8              @ p3
        sub     r7, r7, r8              @ q3
        .else
        mov     lr, r4, lsl #1
        add     r12, lr, r11, lsl #1    @ p0
        sub     r4, lr, r11, lsl #1     @ q0
        mov     lr, r5, lsl #1
        add     r11, lr, r10, lsl #1    @ p1
        sub     r5, lr, r10, lsl #1     @ q1
        mov     lr, r6, lsl #1
        add     r10, lr, r9, lsl #1     @ p2
        sub     r6, lr, r9, lsl #1      @ q2
        mov     lr, r7, lsl #1
        add     r9, lr, r8, lsl #1      @ p3
        sub     r7, lr, r8, lsl #1      @ q3
        .endif
        @ Odd half: o0..o3 (each to be shifted left by 2).
        ldr     r8, [r3, #4]            @ c1
        add     lr, r7, r4
        smmulr  lr, lr, r0              @ (q3 + q0) c2
        ldr     r0, [r3, #12]           @ c3
        smmlar  r1, r4, r1, lr          @ o0
        smmlsr  r8, r7, r8, lr          @ o1
        add     r4, r6, r5
        ldr     r7, [r3, #16]           @ c4
        ldr     lr, [r3, #20]           @ c5
        smmulr  r4, r4, r0              @ (q2 + q1) c3
        smmlar  r7, r5, r7, r4          @ o2
        smmlsr  lr, r6, lr, r4          @ o3
        @ Even half.
        add     r4, r12, r9             @ u
        sub     r12, r12, r9            @ v
        add     r9, r11, r10            @ w
        sub     r11, r11, r10           @ z
        ldr     r0, [r3, #36]           @ c9
        ldr     r5, [r3, #24]           @ c6
        add     r10, r4, r9             @ e0
        sub     r4, r4, r9
        smmulr  r4, r4, r0              @ e4 (shift 1)
        add     r9, r12, r11
        ldr     r6, [r3, #32]           @ c8
        smmulr  r9, r9, r5              @ (v + z) c6
        ldr     r5, [r3, #28]           @ c7
        smmlsr  r11, r11, r6, r9        @ e6 (shift 2)
        smmlar  r12, r12, r5, r9        @ e2 (shift 2)
        @ Odd outputs.
        add     r5, r8, r7              @ (o1 + o2) / 4
        add     r6, r1, lr              @ (o0 + o3) / 4
        .if \dbl == 0
        sub     r8, r8, r7              @ (o1 - o2) / 4
        sub     r1, r1, lr              @ (o0 - o3) / 4
        mov     r7, r5, lsl #2
        add     lr, r7, r6, lsl #2
        sub     r7, r7, r6, lsl #2
        smmulr  lr, lr, r0              @ out1 / 2
        smmulr  r7, r7, r0              @ out7 / 2
        .else
        lsl     r5, r5, #2
        lsl     r6, r6, #2
        smmulr  r5, r5, r0              @ b
        smmulr  r6, r6, r0              @ a
        sub     r8, r8, r7              @ (o1 - o2) / 4
        sub     r1, r1, lr              @ (o0 - o3) / 4
        add     lr, r5, r6              @ out1 / 4
        sub     r7, r5, r6              @ out7 / 4
        .endif
        .endm

@ One step of an output chain: x = (v << s) - x, stored as X[i].
        .macro  chain i, v, s
        rsb     r0, r0, \v, lsl #\s
        putx    \i, r0, r9
        .endm

        .global mp3d_fdct32_half_armv6
        .hidden mp3d_fdct32_half_armv6
        .type   mp3d_fdct32_half_armv6, %function
        .p2align 2
mp3d_fdct32_half_armv6:
        push    {r4-r11, lr}
        sub     sp, sp, #FRAME
        str     r0, [sp, #SLOTS]
        str     r1, [sp, #PARITY]
        str     r2, [sp, #SYNTH]
        str     r3, [sp, #COEFF8]
        mov     r12, #0
.Lslot:
        @ r12 = k: r0 = slots + k, r1 = parity ^ (k & 1), r2 = the column,
        @ r3 = dct8_coeff (the odd chain reuses r3).
        ldr     r0, [sp, #SLOTS]
        ldr     r3, [sp, #COEFF8]
        ldr     r1, [sp, #PARITY]
        ldr     r2, [sp, #SYNTH]
        str     r12, [sp, #SLOT_K]
        mov     r5, r12, lsr #1
        ands    r4, r12, #1
        add     r0, r0, r12, lsl #2
        eor     r1, r1, r4
        sub     r2, r2, r5, lsl #2
        addeq   r2, r2, #4 * (192 + 4)  @ even bank, column 4 - k/2
        addne   r2, r2, #4 * 3          @ odd bank, column 3 - (k - 1)/2
        mov     lr, sp
        cmp     r1, #0
        ldr     r1, [sp, #FRAME + 36]   @ dct32 coefficients
        bne     .Linvert
        fold    0, 0
        fold    1, 0
        fold    2, 0
        fold    3, 0
        fold    4, 0
        fold    5, 0
        fold    6, 0
        fold    7, 0
        b       .Lblocks
.Linvert:
        fold    0, 1
        fold    1, 1
        fold    2, 1
        fold    3, 1
        fold    4, 1
        fold    5, 1
        fold    6, 1
        fold    7, 1
.Lblocks:
        @ E: X[4k] = E8[k].
        dct8    0, 0, 0
        mov     r0, #0
        rsb     r9, r10, #0
        str     r9, [r2, #LOWER + 48 * 15]          @ X[0]
        sub     r9, r0, lr, lsl #1
        str     r9, [r2, #LOWER + 48 * 11]          @ X[4]
        sub     r9, r0, r12, lsl #2
        str     r9, [r2, #LOWER + 48 * 7]           @ X[8]
        sub     r9, r0, r8, lsl #2
        str     r9, [r2, #LOWER + 48 * 3]           @ X[12]
        lsl     r4, r4, #1
        str     r4, [r2, #0]                        @ X[16]
        lsl     r1, r1, #2
        str     r1, [r2, #48 * 4]                   @ X[20]
        lsl     r11, r11, #2
        str     r11, [r2, #48 * 8]                  @ X[24]
        lsl     r7, r7, #1
        str     r7, [r2, #48 * 12]                  @ X[28]

        @ F: X[2] = 2 F8[0]... as the chain X[4k + 2] = 2 F8[k] - X[4k - 2].
        dct8    1, 1, 1
        mov     r0, r10
        putx    2, r0, r9
        chain   6, lr, 2
        chain   10, r12, 3
        chain   14, r8, 3
        chain   18, r4, 2
        chain   22, r1, 3
        chain   26, r11, 3
        chain   30, r7, 2

        @ G: kept on the stack for the odd chain.
        dct8    2, 1, 0
        add     r0, sp, #GBUF
        stm     r0, {r1, r4, r7, r8, r10, r11, r12, lr}

        @ H and the odd chain: X[1] = G8[0], 2 Y[1] = 2 H8[0],
        @ X[3] = 2 Y[1] - X[1]; then X[4k + 1] = 2 G8[k] - X[4k - 1],
        @ 2 Y[2k + 1] = 2 (2 H8[k]) - 2 Y[2k - 1], X[4k + 3] = 2 Y[2k + 1] - X[4k + 1].
        @ G words on the stack (register order of the STM): out5, out4,
        @ out7, out3, out0, out6, out2, out1.
        dct8    3, 1, 1
        @ The G words are read two steps ahead, alternately into r6 and r3.
        ldr     r0, [sp, #GBUF + 16]    @ G out0
        ldr     r6, [sp, #GBUF + 28]    @ G out1
        ldr     r3, [sp, #GBUF + 24]    @ G out2
        mov     r5, r10, lsl #1         @ y
        putx    1, r0, r9
        sub     r0, r5, r0
        putx    3, r0, r9
        chain   5, r6, 2
        ldr     r6, [sp, #GBUF + 12]    @ G out3
        rsb     r5, r5, lr, lsl #3      @ y, H out1
        sub     r0, r5, r0
        putx    7, r0, r9
        chain   9, r3, 3
        ldr     r3, [sp, #GBUF + 4]     @ G out4
        rsb     r5, r5, r12, lsl #4
        ldr     r12, [sp, #SLOT_K]      @ k, for the loop
        sub     r0, r5, r0
        putx    11, r0, r9
        chain   13, r6, 3
        ldr     r6, [sp, #GBUF + 0]     @ G out5
        rsb     r5, r5, r8, lsl #4
        sub     r0, r5, r0
        putx    15, r0, r9
        chain   17, r3, 2
        ldr     r3, [sp, #GBUF + 20]    @ G out6
        rsb     r5, r5, r4, lsl #3
        sub     r0, r5, r0
        putx    19, r0, r9
        chain   21, r6, 3
        ldr     r6, [sp, #GBUF + 8]     @ G out7
        rsb     r5, r5, r1, lsl #4
        sub     r0, r5, r0
        putx    23, r0, r9
        chain   25, r3, 3
        rsb     r5, r5, r11, lsl #4
        sub     r0, r5, r0
        putx    27, r0, r9
        chain   29, r6, 2
        rsb     r5, r5, r7, lsl #3
        sub     r0, r5, r0
        putx    31, r0, r9

        add     r12, r12, #1
        cmp     r12, #9
        blt     .Lslot
        add     sp, sp, #FRAME
        pop     {r4-r11, pc}
        .size   mp3d_fdct32_half_armv6, . - mp3d_fdct32_half_armv6

        .section .note.GNU-stack, "", %progbits
