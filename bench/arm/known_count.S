@ Validation program for the instruction counter: the instructions executed
@ between measure_begin and measure_end are known exactly.
@   measure_begin: 2 + 3 * ITERATIONS + 1 (mov, ldr, the loop, b)
@   work:          3 * ITERATIONS         (add, eor, bx)
@ and so is their cost under the cycle model (count.py): per iteration bl,
@ bne and bx are branches at 1.5 cycles, subs, add and eor take one (no
@ interlocks): 7.5 cycles; plus 3.5 for mov, ldr, bl before the loop (the
@ first bl, the loop's others are 1.5 each in the 99999 later iterations:
@ counted above) and 1.5 for the final b. Total 7.5 * ITERATIONS + 3.5.
@   arm-linux-gnueabi-gcc -nostdlib -static known_count.S -o known_count
        .equ ITERATIONS, 100000
        .syntax unified
        .arm
        .text
        .global _start, measure_begin, measure_end, work
_start:
        bl      measure_begin
measure_begin:
        mov     r4, #0
        ldr     r5, =ITERATIONS
1:      bl      work
        subs    r5, r5, #1
        bne     1b
        b       measure_end
work:
        add     r4, r4, #3
        eor     r6, r4, r5
        bx      lr
measure_end:
        mov     r0, #0
        mov     r7, #1          @ exit(0)
        svc     #0
        .ltorg
