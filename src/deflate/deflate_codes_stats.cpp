// Symbol counts of typical data, for codes made without counts of their own: what
// the fastest matcher makes of English and Polish text, XML, executable code, a
// database table and medical images in 64 KiB pieces, each kind weighing the same,
// with a share spread evenly over all symbols so that none is far out of reach
// (bytes that text never uses still cost 10-12 bits, not 15). Lengths fall off
// quickly from 4 (the fastest matcher makes no length 3); distances rise towards
// the far end of the window, where most of a 32 KiB window's positions lie.

#include "deflate_codes.h"

namespace lumdc::deflate {

const uint16_t kTypicalLitFreq[286] = {
    2291, 973, 328, 407, 807, 522, 373, 320, 390, 392, 539, 320, 428, 394, 268, 122, 129,  79,   78,   74,   116, 72,
    75,   74,  105, 62,  65,  65,  99,  59,  136, 64,  653, 82,  94,  65,  242, 60,  60,   126,  242,  100,  59,  69,
    183,  163, 176, 134, 316, 365, 368, 402, 372, 326, 312, 310, 305, 288, 141, 124, 120,  71,   100,  77,   82,  189,
    152,  160, 206, 166, 158, 130, 165, 178, 126, 125, 206, 188, 186, 155, 245, 166, 203,  187,  192,  150,  153, 171,
    120,  111, 116, 60,  78,  60,  64,  72,  109, 698, 243, 318, 358, 694, 317, 276, 320,  586,  212,  201,  426, 347,
    465,  617, 297, 115, 525, 506, 574, 378, 172, 272, 156, 286, 197, 50,  68,  56,  57,   58,   90,   69,   53,  109,
    95,   113, 62,  52,  72,  134, 86,  374, 58,  133, 61,  54,  67,  51,  50,  51,  59,   56,   55,   50,   51,  49,
    51,   49,  53,  47,  51,  49,  51,  50,  45,  46,  53,  44,  46,  44,  57,  47,  46,   44,   51,   47,   46,  47,
    57,   45,  46,  51,  50,  48,  47,  47,  60,  52,  47,  48,  51,  49,  57,  51,  102,  70,   63,   66,   65,  52,
    69,   75,  66,  64,  56,  60,  63,  84,  77,  64,  60,  54,  57,  52,  51,  49,  51,   49,   63,   51,   49,  66,
    56,   52,  50,  52,  58,  55,  58,  54,  55,  50,  51,  56,  318, 81,  52,  82,  67,   60,   53,   52,   68,  59,
    55,   55,  54,  56,  75,  58,  73,  59,  57,  57,  61,  62,  62,  177, 1,   35,  8730, 3581, 2145, 1176, 684, 434,
    320,  427, 366, 297, 307, 471, 250, 141, 108, 143, 95,  75,  73,  75,  55,  44,  41,   43,   43,   41,   40,  79,
};

const uint16_t kTypicalDistFreq[30] = {
    124, 146, 34,  53,   113, 127,  186, 188,  300,  264,  430,  369,  579, 458, 685,
    552, 902, 763, 1172, 944, 1311, 972, 1425, 1630, 1457, 1357, 1434, 830, 830, 367,
};

}  // namespace lumdc::deflate
