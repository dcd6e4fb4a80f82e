/*
 * Reduces qemu's execution log to executed translation blocks, for count.py.
 * The log (`qemu-arm -d in_asm,exec,nochain`) holds every translation ("IN:"
 * followed by one line per guest instruction) and, with chaining off, one
 * "Trace" line per block executed: hundreds of millions of lines for a
 * 20-second stream, too many for Python. This filter reads the log once,
 * keeps each translation with the number of times it ran between the first
 * execution of the block at BEGIN and the next execution of the block at END
 * (both guest addresses, hexadecimal), and prints for every translation that
 * ran there:
 *
 *   B <pc> <executions>
 *   <the translation's instruction lines, as qemu printed them>
 *
 * A guest address translated again (after a flush) gets a new record, so each
 * execution is charged to the instructions that actually ran.
 *
 *   tb_filter BEGIN END < log > blocks
 */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

struct block {
    uint32_t pc;
    uint64_t runs;
    char *text; /* instruction lines */
    size_t len;
};

static struct block *blocks;
static size_t nblocks, capblocks;

/* Open-addressing map: guest pc -> index of its current translation + 1. */
static uint32_t *keys;
static uint32_t *vals;
static size_t capmap = 1u << 16, used;

static size_t slot_of(uint32_t pc) {
    size_t i = (pc * 2654435761u) & (capmap - 1);
    while (vals[i] != 0 && keys[i] != pc) i = (i + 1) & (capmap - 1);
    return i;
}

static void grow(void) {
    uint32_t *ok = keys, *ov = vals;
    size_t ocap = capmap;
    capmap *= 2;
    keys = calloc(capmap, sizeof *keys);
    vals = calloc(capmap, sizeof *vals);
    if (keys == NULL || vals == NULL) exit(1);
    for (size_t i = 0; i < ocap; ++i) {
        if (ov[i] == 0) continue;
        size_t j = slot_of(ok[i]);
        keys[j] = ok[i];
        vals[j] = ov[i];
    }
    free(ok);
    free(ov);
}

static void add_translation(uint32_t pc, const char *text, size_t len) {
    if (nblocks == capblocks) {
        capblocks = capblocks ? capblocks * 2 : 4096;
        blocks = realloc(blocks, capblocks * sizeof *blocks);
        if (blocks == NULL) exit(1);
    }
    struct block *b = &blocks[nblocks++];
    b->pc = pc;
    b->runs = 0;
    b->text = malloc(len + 1);
    if (b->text == NULL) exit(1);
    memcpy(b->text, text, len);
    b->text[len] = '\0';
    b->len = len;
    if (2 * (used + 1) > capmap) grow();
    size_t i = slot_of(pc);
    if (vals[i] == 0) used++;
    keys[i] = pc;
    vals[i] = (uint32_t)nblocks;
}

int main(int argc, char **argv) {
    if (argc != 3) {
        fprintf(stderr, "usage: tb_filter BEGIN END < log\n");
        return 2;
    }
    const uint32_t begin = (uint32_t)strtoul(argv[1], NULL, 16);
    const uint32_t end = (uint32_t)strtoul(argv[2], NULL, 16);
    keys = calloc(capmap, sizeof *keys);
    vals = calloc(capmap, sizeof *vals);
    size_t tcap = 1 << 16, tlen = 0;
    char *text = malloc(tcap);
    if (keys == NULL || vals == NULL || text == NULL) return 1;

    static char line[4096 + 1];
    int in_block = 0, counting = 0, done = 0;
    uint32_t block_pc = 0;
    uint64_t traces = 0;
    while (fgets(line, sizeof line - 1, stdin) != NULL) {
        if (line[0] == 'T' && strncmp(line, "Trace ", 6) == 0) {
            /* Trace 0: HOSTPTR [CSBASE/PC/FLAGS/CFLAGS] */
            const char *p = strchr(line, '[');
            if (p == NULL || (p = strchr(p, '/')) == NULL) continue;
            const uint32_t pc = (uint32_t)strtoul(p + 1, NULL, 16);
            if (!counting && !done && pc == begin) counting = 1;
            if (counting && pc == end) {
                counting = 0;
                done = 1;
            }
            if (!counting) continue;
            traces++;
            const size_t i = slot_of(pc);
            if (vals[i] == 0) {
                fprintf(stderr, "tb_filter: block at 0x%08x ran before its translation\n", pc);
                return 1;
            }
            blocks[vals[i] - 1].runs++;
            continue;
        }
        if (strncmp(line, "IN:", 3) == 0) {
            in_block = 1;
            tlen = 0;
            continue;
        }
        if (!in_block) continue;
        if (strncmp(line, "0x", 2) == 0) {
            if (tlen == 0) block_pc = (uint32_t)strtoul(line, NULL, 16);
            size_t n = strlen(line);
            if (n > 0 && line[n - 1] != '\n') line[n++] = '\n';
            if (tlen + n + 1 > tcap) {
                tcap = 2 * (tlen + n + 1);
                text = realloc(text, tcap);
                if (text == NULL) return 1;
            }
            memcpy(text + tlen, line, n);
            tlen += n;
            continue;
        }
        /* A blank line or separator ends the translation. */
        if (tlen > 0) add_translation(block_pc, text, tlen);
        in_block = 0;
        tlen = 0;
    }
    if (in_block && tlen > 0) add_translation(block_pc, text, tlen);
    if (!done) {
        fprintf(stderr, "tb_filter: the end marker 0x%08x was never reached\n", end);
        return 1;
    }
    for (size_t i = 0; i < nblocks; ++i) {
        if (blocks[i].runs == 0) continue;
        printf("B %08x %llu\n%s", blocks[i].pc, (unsigned long long)blocks[i].runs, blocks[i].text);
    }
    fprintf(stderr, "tb_filter: %llu block executions, %zu translations\n",
            (unsigned long long)traces, nblocks);
    return 0;
}
