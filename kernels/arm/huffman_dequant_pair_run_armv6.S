// The common path of the ARMv6 big-value pair kernel:
//
//   int32_t *mp3d_huf_pair_run_armv6(int32_t *out, int32_t *end, Huf_Pair_Run *run)
//
// Decodes pairs from out to end (the current band's end) and on through the
// region's following bands: plain pairs, escapes (values of 64 and more
// through mp3d_huf_pair_large_armv6) and codewords longer than the direct
// lookup (by the multi-level walk). It returns to the caller (the general
// path, huffman_dequant_pair_armv6.cpp) when the bands run out (run->band
// reaches run->band_stop), when a band with q < 6 begins, or when a refill
// would load a word from beyond run->limit (the last word inside the
// reservoir). Returns the new out; writes the reader (bits, count, ptr), the
// band, its end, q, scale and shift, and the bits since the last refill point
// (run->used) back to *run. The caller enters only while the reader's read
// stop is far enough away that a pair without escape needs no more than 21
// bits in the window; refills here end at most 3 bytes past run->limit,
// where that still holds.
//
// Registers in the loop (all 14 available, nothing on the stack):
//   r0 out, r1 end, r2 bits (left-aligned window), r3 count (valid bits),
//   r4 ptr (next reservoir byte), r5 fast table, r6 31 - lookup width,
//   r7 upper words of the band's power row, r8 magnitude shift q - 6,
//   r9 limit (last ptr a word may be loaded from), r10 bits of the pair,
//   r11, r12, lr scratch (lr holds the next pair's lookup entry between
//   iterations, loaded a whole iteration ahead of its use).
//
// Offsets of struct Huf_Pair_Run (checked by static_asserts in C++): the
// first eight words in the order of r2..r9.
#define RUN_USED 32
#define RUN_LINBITS 36
#define RUN_SCALE 40
#define RUN_Q 44
#define RUN_TABLE 52
#define RUN_BAND 64
#define RUN_BAND_STOP 68
#define RUN_BAND_END 72
#define RUN_BANDS 76
#define RUN_EXPONENTS 80
#define RUN_LINE_LIMIT 84
#define RUN_POWERS 88
#define RUN_SCALES 92

#if !defined(__ARM_ARCH) || __ARM_ARCH < 6 || defined(__thumb__)
#error "ARMv6 or later in ARM mode"
#endif

// Tops the window (r2, r3 valid bits, r3 <= 23) up to 24..31 bits with the
// 4 bytes at r4, most significant first, and advances r4 by the whole bytes
// taken. t1, t2: scratch.
        .macro  REFILL t1, t2
#if defined(__ARM_FEATURE_UNALIGNED)
        ldr     \t1, [r4]
        rsb     \t2, r3, #31
        add     r4, r4, \t2, lsr #3
        rev     \t1, \t1
#else
        ldrb    \t1, [r4]
        ldrb    \t2, [r4, #1]
        orr     \t1, \t2, \t1, lsl #8
        ldrb    \t2, [r4, #2]
        orr     \t1, \t2, \t1, lsl #8
        ldrb    \t2, [r4, #3]
        orr     \t1, \t2, \t1, lsl #8
        rsb     \t2, r3, #31
        add     r4, r4, \t2, lsr #3
#endif
        orr     r2, r2, \t1, lsr r3
        orr     r3, r3, #24
        .endm

        .syntax unified
        .arm
        .text
        .align  2
        .global mp3d_huf_pair_run_armv6
        .hidden mp3d_huf_pair_run_armv6
        .type   mp3d_huf_pair_run_armv6, %function
mp3d_huf_pair_run_armv6:
        push    {r2, r4-r11, lr}        // r2 (run) at [sp], 8-byte aligned
        ldm     r2, {r2-r9}
        mov     r11, r2, lsr r6         // first lookup: 2 * top `width` bits
        bic     r11, r11, #1
        ldrh    lr, [r5, r11]
.Lloop:
        // A pair without escape takes at most 21 bits (19-bit codeword and
        // two signs): below that the window is refilled first.
        cmp     r3, #21
        blt     .Lrefill
.Ldecode:
        // Entry e = x << 12 | y << 8 | escape << 7 | bits of pair. e << 24
        // is below 1 << 24 (signed) exactly when e is 0 or has the escape
        // flag.
        mov     r11, lr, lsl #24
        cmp     r11, #0x01000000
        blt     .Lspecial
.Lplain:
        mov     r11, lr, lsr #12        // x
        ands    r12, lr, #0xF00         // y << 8; Z: y is 0 (no sign bit)
        and     r10, lr, #63            // bits of the pair
        ldr     r11, [r7, r11, lsl #3]  // upper word of x's power
        ldr     r12, [r7, r12, lsr #5]  // upper word of y's power
        sub     lr, r10, #1             // y's sign is the pair's last bit,
        subne   lr, lr, #1              // x's the one before when y has one
        movs    lr, r2, lsl lr          // N: x's sign; bit 30: y's sign
        mov     r11, r11, lsr r8        // (a zero value's magnitude is 0:
        rsbmi   r11, r11, #0            // the bit taken as its sign is not
        tst     lr, #0x40000000         // its own, but any sign gives 0)
        mov     r12, r12, lsr r8
        rsbne   r12, r12, #0
        stmia   r0!, {r11, r12}
        mov     r2, r2, lsl r10
        sub     r3, r3, r10
.Lnext:
        mov     r11, r2, lsr r6         // next pair's lookup, ahead of the test
        bic     r11, r11, #1
        ldrh    lr, [r5, r11]
        cmp     r0, r1
        bne     .Lloop
        // The band is done: on to the next one with pairs, as long as the
        // run's bands last and q >= 6.
        ldr     r11, [sp]
        ldr     r12, [r11, #RUN_BAND]
        str     r10, [r11, #RUN_USED]
.Lnext_band:
        ldr     lr, [r11, #RUN_BAND_STOP]
        add     r12, r12, #1
        str     r12, [r11, #RUN_BAND]
        cmp     r12, lr
        bge     .Lexit
        ldr     lr, [r11, #RUN_BANDS]
        ldr     r10, [r11, #RUN_LINE_LIMIT]
        add     lr, lr, r12, lsl #1
        ldrsh   r7, [lr]                // first line
        ldrsh   lr, [lr, #2]            // end line, cut to the line limit
        cmp     lr, r10
        movgt   lr, r10
        subs    lr, lr, r7
        ble     .Lnext_band
        movs    lr, lr, asr #1          // pairs
        beq     .Lnext_band
        add     r1, r0, lr, lsl #3
        ldr     lr, [r11, #RUN_EXPONENTS]
        ldr     r10, [r11, #RUN_SCALES]
        ldr     lr, [lr, r12, lsl #2]
        ldr     r7, [r11, #RUN_POWERS]
        rsb     lr, lr, #0              // -exponent = 4q + r
        and     r12, lr, #3
        mov     lr, lr, asr #2
        ldr     r10, [r10, r12, lsl #2]
        add     r7, r7, r12, lsl #9     // row r: 64 entries of 8 bytes
        subs    r8, lr, #6
        str     lr, [r11, #RUN_Q]
        str     r10, [r11, #RUN_SCALE]
        str     r7, [r11, #20]          // upper
        blt     .Lexit                  // q < 6: the general path's band
        cmp     r8, #31
        movgt   r8, #31
        str     r8, [r11, #24]          // shift
        mov     r12, r2, lsr r6
        bic     r12, r12, #1
        ldrh    lr, [r5, r12]
        b       .Lloop
.Lexit:
        str     r1, [r11, #RUN_BAND_END]
        stmia   r11, {r2-r4}
        pop     {r2, r4-r11, pc}

.Lrefill:
        cmp     r4, r9
        bhi     .Lgeneral
        REFILL  r11, r12
        mov     r11, r2, lsr r6
        bic     r11, r11, #1
        ldrh    lr, [r5, r11]
        b       .Ldecode

.Lgeneral:
        ldr     r11, [sp]
        b       .Lexit

.Lspecial:
        // An escape pair whose two refills (3 bytes each at most) could pass
        // the limit goes to the general path. In tables without escape bits
        // the flag means nothing.
        cmp     lr, #0
        beq     .Lwalk
.Lescape:
        ldr     r12, [sp]
        ldr     r12, [r12, #RUN_LINBITS]
        sub     r10, r9, #6
        cmp     r12, #0
        beq     .Lplain
        cmp     r4, r10
        bhi     .Lgeneral
        // Escape pair: r9 (no limit checks needed now), r1, r5, r6 free up.
        push    {r1, r5, r6, r9}
        mov     r5, lr                  // e
        and     r1, lr, #63
        tst     lr, #0xF000
        subne   r1, r1, #1
        tst     lr, #0x0F00
        subne   r1, r1, #1              // the codeword alone
        mov     r2, r2, lsl r1
        sub     r3, r3, r1
        mov     r10, r0
        movs    r11, r5, lsr #12
        blne    .Lvalue
        add     r10, r0, #4
        and     r11, r5, #0x0F00
        movs    r11, r11, lsr #8
        blne    .Lvalue
        mov     r10, r1                 // bits since the last escape's start
        pop     {r1, r5, r6, r9}
        add     r0, r0, #8
        b       .Lnext

.Lwalk:
        // A codeword longer than the direct lookup: the multi-level table
        // (halfwords: the root's width, then the levels; an entry with bit 0
        // set is a leaf x << 12 | y << 8 | codeword bits << 1, else it links
        // to a level at (entry >> 1) & 0x3FF words further on, indexed by
        // its next entry >> 11 bits). At most 5 lookups; the fifth entry is
        // taken as the leaf whatever it holds. A leaf repeats over the bits
        // after its codeword, so the 21 or more valid bits of the window
        // decide it (no codeword is longer than 19 bits). The leaf is
        // rewritten in the direct lookup's form, then decoded as one.
        push    {r0, r1}
        ldr     r12, [sp, #8]
        mov     r11, r2                 // the bits still to index by
        mov     r10, #4                 // lookups left after the root's
        ldr     r12, [r12, #RUN_TABLE]
        ldrh    r0, [r12], #2           // root width; r12: the root level
        rsb     r1, r0, #32
        mov     r1, r11, lsr r1
        add     r1, r12, r1, lsl #1
        ldrh    lr, [r1]
        mov     r11, r11, lsl r0
.Lwalk_level:
        tst     lr, #1
        bne     .Lleaf
        subs    r10, r10, #1
        bmi     .Lleaf
        mov     r0, lr, lsl #21         // bits 1..10 (bit 0 is 0):
        add     r12, r12, r0, lsr #21   // the level's offset in bytes
        mov     r0, lr, lsr #11         // its index width
        rsb     r1, r0, #32
        mov     r1, r11, lsr r1
        add     r1, r12, r1, lsl #1
        ldrh    lr, [r1]
        mov     r11, r11, lsl r0
        b       .Lwalk_level
.Lleaf:
        and     r0, lr, #0x3E
        mov     r0, r0, lsr #1          // codeword bits
        tst     lr, #0xF000
        addne   r0, r0, #1              // x's sign
        tst     lr, #0x0F00
        addne   r0, r0, #1              // y's sign
        bic     lr, lr, #0xFF
        orr     lr, lr, r0
        and     r0, lr, #0xF000
        cmp     r0, #0xF000
        and     r0, lr, #0x0F00
        cmpne   r0, #0x0F00
        pop     {r0, r1}
        beq     .Lescape                // x or y is 15
        b       .Lplain

// One value x (r11, 1..15) of an escape pair to [r10]: tops the window up to
// its escape bits and sign (at most 14 bits), reads them and keeps in r1 the
// bits since the pair's start or, after escape bits, since those bits'
// start (where the decoder's byte-wise reader refills). r12: escape bits.
// Clobbers r6, r9, r11, flags.
.Lvalue:
        cmp     r3, #14
        bge     1f
        REFILL  r9, r6
1:      cmp     r11, #15
        addne   r1, r1, #1
        bne     .Lsmall
        rsb     r6, r12, #32
        mov     r9, r2, lsr r6          // escape bits
        mov     r2, r2, lsl r12
        sub     r3, r3, r12
        add     r1, r12, #1
        add     r11, r9, #15
        cmp     r11, #64
        bge     .Llarge
.Lsmall:
        ldr     r11, [r7, r11, lsl #3]
        mov     r11, r11, lsr r8
.Lsigned:
        cmp     r2, #0                  // N: the sign bit
        rsbmi   r11, r11, #0
        mov     r2, r2, lsl #1
        sub     r3, r3, #1
        str     r11, [r10]
        bx      lr
.Llarge:
        // 64 and more: the cube-root magnitude, computed in C++.
        push    {r0-r3, r12, lr}
        mov     r0, r11
        ldr     r1, [sp, #40]           // run: above these 6 and the 4 pushed
        bl      mp3d_huf_pair_large_armv6
        mov     r11, r0
        pop     {r0-r3, r12, lr}
        b       .Lsigned
        .size   mp3d_huf_pair_run_armv6, .-mp3d_huf_pair_run_armv6

        .section .note.GNU-stack, "", %progbits
