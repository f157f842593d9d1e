"""Which instructions may stand in the code of a path. The lists say what is allowed: what is on none is a fault."""

import re
import subprocess

CONDITION = "(?:n?[eosp]|[abgl]e?)"

# Any processor from i686 on. objdump calls `rep bsf` tzcnt: compilers write it where both give the same.
INTEGER = rf"""(?:mov|lea|push|pop|add|adc|sub|sbb|and|or|xor|not|neg|inc|dec|cmp|test|i?mul|i?div|sh[lr]d?|sa[lr]
    |ro[lr]|bt[src]?|bs[fr]|call|ret|jmp|nop|leave|xchg|stos|movs|cmps|scas|lods)[bwlq]?
    |mov[sz][bwl][wlq]|movabs|(?:j|set)(?:{CONDITION}|e?cxz)|cmov{CONDITION}[wlq]?|bswap|tzcnt
    |cbtw|cwt[ld]|clt[dq]|cqto|ud2|endbr(?:32|64)|f(?!isttp|x|emms)\w+|fxch|fxam"""
# What the core asks a processor with; it does so only where the processor has it.
SYSTEM = "cpuid|xgetbv|pushf|popf|fxsave|stmxcsr|ldmxcsr"
# The groups of vector instructions, each with a name for those of them that VEX encodes too.
SSE2_VEX = r"""(?:add|sub|mul|div|min|max|sqrt|cmp[a-z_]*)[ps][sd]|(?:rcp|rsqrt)[ps]s|(?:andn?|x?or|unpck[lh]|shuf)p[sd]
    |mov(?:ap|up|hp|lp|mskp|ntp|s)[sd]|movhlps|movlhps|u?comis[sd]|(?:ld|st)mxcsr
    |cvt(?:si2s[sd][lq]?|t?s[sd]2si|ps2pd|pd2psx?|ss2sd|sd2ss|dq2p[sd]|t?p[sd]2dqx?)
    |mov(?:dq[au]|[dq]|ntdq)|maskmovdqu|p(?:add|sub)(?:[bwdq]|u?s[bw])|p(?:andn?|x?or)|pavg[bw]|pcmp(?:eq|gt)[bwd]
    |p(?:extr|insr)w|pmaddwd|pm(?:ax|in)(?:sw|ub)|pmovmskb|pmul(?:hu?w|lw|udq)|psadbw|pshuf(?:d|[hl]w)
    |ps[lr]l(?:[wdq]|dq)|psra[wd]|punpck[hl](?:bw|wd|dq|qdq)|pack(?:ss(?:wb|dw)|uswb)"""
SSE2 = SSE2_VEX + r"|prefetch(?:nta|t[012])|[slm]fence|pause|clflush|movnti[lq]?"
SSSE3_VEX = r"""addsubp[sd]|h(?:add|sub)p[sd]|lddqu|mov(?:ddup|s[hl]dup)
    |pabs[bwd]|palignr|ph(?:add|sub)(?:[wd]|sw)|pmaddubsw|pmulhrsw|pshufb|psign[bwd]"""
SSSE3 = SSSE3_VEX + r"|fisttp[sl]*"
SSE41 = r"""blendv?p[sd]|dpp[sd]|extractps|insertps|movntdqa|mpsadbw|packusdw|pblend(?:vb|w)|pcmpeqq|pextr[bdq]
    |phminposuw|pinsr[bdq]|pm(?:ax|in)(?:s[bd]|u[wd])|pmov[sz]x(?:b[wdq]|w[dq]|dq)|pmul(?:dq|ld)|ptest|round[ps][sd]"""
SSE42 = r"pcmpgtq|pcmp[ei]str[im]"
AVX = rf"""crc32[bwlq]?|popcnt|{SSE42}|v(?:{SSE2_VEX}|{SSSE3_VEX}|{SSE41}|{SSE42}|cvt(?:pd2ps|t?pd2dq)y
    |broadcast(?:s[sd]|f128)|(?:extract|insert)f128|maskmovp[sd]|permilp[sd]|perm2f128|testp[sd]|zero(?:all|upper))"""

AVX2 = r"""v(?:broadcasti128|pbroadcast[bwdq]|perm(?:d|q|ps|pd)|perm2i128|(?:extract|insert)i128|pblendd|ps[lr]lv[dq]
    |psravd|pmaskmov[dq])"""

# A group for every path, each holding the ones before it.
LEVELS = {"core32": [INTEGER, SYSTEM], "core64": [INTEGER, SYSTEM, SSE2], "w7": [INTEGER, SSE2]}
LEVELS["v8"] = LEVELS["s8"] = LEVELS["w7"] + [SSSE3]
LEVELS["p8"] = LEVELS["s8"] + [SSE41]
LEVELS["g9"] = LEVELS["p8"] + [AVX]
LEVELS["avx2"] = LEVELS["g9"] + [AVX2]
ALLOWED = {level: re.compile("|".join(groups), re.VERBOSE) for level, groups in LEVELS.items()}

# Allowed by name and not by their operands: MMX registers and what only EVEX encodes; integers of 256 bits, and
# broadcasts from registers, which are AVX2; the form of pextrw with memory, which is SSE4.1.
NOWHERE = re.compile(r"%mm\d|%zmm|%k\d|\{|%[xy]mm(?:1[6-9]|[23]\d)")
AVX2_BY_OPERANDS = re.compile(r"v(?:p(?!test|erm)|mpsadbw|movntdqa).*%ymm|vbroadcasts[sd] %")
PEXTRW_TO_MEMORY = re.compile(r"pextrw .*\)$")

PREFIXES = {"rep", "repz", "repnz", "lock", "data16", "cs", "ds", "es", "notrack", "bnd", "addr32"}


def is_fault(level, instruction):
    """Whether an instruction, as disassemble gives it, is beyond the level."""
    words = instruction.split(" ")
    while words[0] in PREFIXES and len(words) > 1:
        words.pop(0)
    if not ALLOWED[level].fullmatch(words[0]) or NOWHERE.search(instruction):
        return True
    if level != "avx2" and AVX2_BY_OPERANDS.match(instruction):
        return True
    if level == "core32" and re.search("%[xy]mm", instruction):
        return True
    return level in ("core64", "w7", "v8", "s8") and bool(PEXTRW_TO_MEMORY.match(instruction))


def disassemble(file):
    """(symbol, address, instruction) for all code of a file; operands are separated from the name by one space."""
    symbol = None
    text = subprocess.run(["objdump", "-dw", "--no-show-raw-insn", file], check=True, text=True, capture_output=True)
    for line in text.stdout.splitlines():
        if header := re.fullmatch(r"[0-9a-f]+ <(.+)>:", line):
            symbol = header[1]
        elif found := re.match(r" *([0-9a-f]+):\t(.+)", line):
            instruction = re.sub(r"\s*(?:<.*>|#.*)\s*$", "", found[2])
            yield symbol, int(found[1], 16), " ".join(instruction.split())


def faults(file, level):
    """The instructions of a file that are beyond the level."""
    return [f"{symbol}: {instruction}" for symbol, _, instruction in disassemble(file) if is_fault(level, instruction)]
