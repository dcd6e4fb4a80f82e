// The common case of the ARMv6 count1 kernel: a run of quadruples inside
// one band (one unit value), with the window refilled from inside the
// reservoir.
//
//   int32_t *mp3d_huf_quad_run_armv6(int32_t *out, int32_t *stop, Huf_Quad_Run *run)
//
// Decodes quadruples from out while out is below stop (the caller puts stop
// before the next band boundary and the last quadruple's start), the bit
// budget lasts, and the window has 10 bits (the longest codeword and four
// signs) or can be refilled with a word at or below run->limit. Returns
// the new out; writes the reader (bits, count, ptr), the budget and the bits
// of the last quadruple back to *run. The caller enters only while the read
// stop is not due, and refills here keep it so.
//
// Registers: r0 out, r1 stop, r2 bits (left-aligned window), r3 count
// (valid bits), r4 ptr, r5 code table (past its width), r6 32 - its width,
// r7 budget, r8 unit value, r9 limit, r10 bits of the quadruple, r11 the
// window after the codeword (the signs at the top), r12 code table entry
// (loaded one quadruple ahead), lr scratch.
//
// Offsets of struct Huf_Quad_Run (checked by static_asserts in C++): the
// first eight words in the order of r2..r9, then:
#define QUAD_BUDGET 20
#define QUAD_USED 32

#if !defined(__ARM_ARCH) || __ARM_ARCH < 6 || defined(__thumb__)
#error "ARMv6 or later in ARM mode"
#endif

        .syntax unified
        .arm
        .text
        .align  2
        .global mp3d_huf_quad_run_armv6
        .hidden mp3d_huf_quad_run_armv6
        .type   mp3d_huf_quad_run_armv6, %function
mp3d_huf_quad_run_armv6:
        push    {r2, r4-r11, lr}        // r2 (run) at [sp], 8-byte aligned
        ldr     r10, [r2, #QUAD_USED]
        ldm     r2, {r2-r9}
        mov     r12, r2, lsr r6
        ldrb    r12, [r5, r12]
.Lq_loop:
        cmp     r3, #10
        blt     .Lq_refill
.Lq_decode:
        // Entry: v << 7 | w << 6 | x << 5 | y << 4 | codeword bits. Each
        // non-zero member takes the next sign bit and gets the signed unit
        // value; a zero member takes none and gets 0.
        and     r10, r12, #15
        movs    lr, r12, lsr #4
        mov     r11, r2, lsl r10
        beq     .Lq_zero
        ands    lr, r12, #0x80
        movne   lr, r8
        eorne   lr, lr, r11, asr #31
        subne   lr, lr, r11, asr #31
        movne   r11, r11, lsl #1
        addne   r10, r10, #1
        str     lr, [r0]
        ands    lr, r12, #0x40
        movne   lr, r8
        eorne   lr, lr, r11, asr #31
        subne   lr, lr, r11, asr #31
        movne   r11, r11, lsl #1
        addne   r10, r10, #1
        str     lr, [r0, #4]
        ands    lr, r12, #0x20
        movne   lr, r8
        eorne   lr, lr, r11, asr #31
        subne   lr, lr, r11, asr #31
        movne   r11, r11, lsl #1
        addne   r10, r10, #1
        str     lr, [r0, #8]
        ands    lr, r12, #0x10
        movne   lr, r8
        eorne   lr, lr, r11, asr #31
        subne   lr, lr, r11, asr #31
        addne   r10, r10, #1
        str     lr, [r0, #12]
.Lq_next:
        mov     r2, r2, lsl r10
        sub     r3, r3, r10
        add     r0, r0, #16
        subs    r7, r7, r10
        ble     .Lq_exit                // the budget is spent
        mov     r12, r2, lsr r6         // next quadruple's entry, ahead of the test
        ldrb    r12, [r5, r12]
        cmp     r0, r1
        blo     .Lq_loop
.Lq_exit:
        ldr     r11, [sp]
        str     r7, [r11, #QUAD_BUDGET]
        str     r10, [r11, #QUAD_USED]
        stmia   r11, {r2-r4}
        pop     {r2, r4-r11, pc}

.Lq_zero:
        str     lr, [r0]
        str     lr, [r0, #4]
        str     lr, [r0, #8]
        str     lr, [r0, #12]
        b       .Lq_next

.Lq_refill:
        // Tops the window up to 24..31 bits with the 4 bytes at ptr (most
        // significant first) and advances ptr by the whole bytes taken.
        cmp     r4, r9
        bhi     .Lq_exit
#if defined(__ARM_FEATURE_UNALIGNED)
        ldr     r11, [r4]
        rsb     r12, r3, #31
        add     r4, r4, r12, lsr #3
        rev     r11, r11
#else
        ldrb    r11, [r4]
        ldrb    r12, [r4, #1]
        orr     r11, r12, r11, lsl #8
        ldrb    r12, [r4, #2]
        orr     r11, r12, r11, lsl #8
        ldrb    r12, [r4, #3]
        orr     r11, r12, r11, lsl #8
        rsb     r12, r3, #31
        add     r4, r4, r12, lsr #3
#endif
        orr     r2, r2, r11, lsr r3
        orr     r3, r3, #24
        mov     r12, r2, lsr r6
        ldrb    r12, [r5, r12]
        b       .Lq_decode
        .size   mp3d_huf_quad_run_armv6, .-mp3d_huf_quad_run_armv6

        .section .note.GNU-stack, "", %progbits
