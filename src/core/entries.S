// The entry points vel... and their forwarders orv..., made from the list of primitives.
//
// An entry point finds itself, loads the index and jumps through its table. Arguments and return address stay where they
// are, so the body is called as its caller meant it, whatever its signature.

#ifdef __CET__
#include <cet.h> // says that the code is ready for control-flow protection
#else
#define _CET_ENDBR
#endif

        .text

#ifdef __x86_64__
        .macro  entry name
        movslq  ownJumpIndex(%rip), %rax
        leaq    own_\name\()_slots(%rip), %r11
        jmp     *(%r11,%rax,8)
        .endm
#else
// Where the code is, it learns from a call of the next instruction, which processors do not take for a call: it is
// shorter by a return than a thunk, and short calls of primitives feel that.
        .macro  entry name
        call    .Lhere_\name
.Lhere_\name:
        popl    %eax
        movl    ownJumpIndex - .Lhere_\name\()(%eax), %ecx
        jmp     *own_\name\()_slots - .Lhere_\name\()(%eax,%ecx,4)
        .endm
#endif

        .macro  primitive name
        .hidden own_\name\()_slots
        .globl  vel\name, orv\name
        .type   vel\name, @function
        .type   orv\name, @function
        .p2align 5 // both names fit, and are fetched at once
vel\name:
        _CET_ENDBR
.Lvel_\name:
        entry   \name
        .size   vel\name, . - vel\name
orv\name:
        _CET_ENDBR
        jmp     .Lvel_\name
        .size   orv\name, . - orv\name
        .endm

// A body with variants: the same over a pair of addresses.
#ifdef __x86_64__
        .macro  variant name
        movslq  ownVariantIndex(%rip), %rax
        leaq    own_\name\()_variants(%rip), %r11
        jmp     *(%r11,%rax,8)
        .endm
        .macro  address name
        .quad   \name
        .endm
#else
        .macro  variant name
        call    .Lhere_\name
.Lhere_\name:
        popl    %eax
        movl    ownVariantIndex - .Lhere_\name\()(%eax), %ecx
        jmp     *own_\name\()_variants - .Lhere_\name\()(%eax,%ecx,4)
        .endm
        .macro  address name
        .long   \name
        .endm
#endif
        .macro  body name
        .globl  g9_\name
        .type   g9_\name, @function
        .p2align 4
g9_\name:
        _CET_ENDBR
        variant \name
        .size   g9_\name, . - g9_\name

        .section .data.rel.ro, "aw"
        .hidden avx_\name, avx2_\name
        .balign 8
        .type   own_\name\()_variants, @object
own_\name\()_variants:
        address avx_\name
        address avx2_\name
        .size   own_\name\()_variants, . - own_\name\()_variants
        .text
        .endm

        .hidden ownVariantIndex
#define ORV_VARIANT(file, name) body name
#ifdef __x86_64__
#define ORV_VARIANT_64(file, name) body name
#else
#define ORV_VARIANT_64(file, name)
#endif
#include "variants.def"

        .hidden ownJumpIndex
#define ORV_PRIMITIVE(name, pattern) primitive name
#include "primitives.def"

        .section .note.GNU-stack, "", @progbits
