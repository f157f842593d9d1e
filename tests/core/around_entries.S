// The exported functions by name: each call goes on to the library's own with another stack and other floating-point modes,
// as aroundBefore() says, and aroundAfter() looks at what it leaves. Both are in around.cpp, as is the structure.

#define CHECKED 24 // arguments that a call may have on the stack, and more than any has

        .set number, 0
        .macro function name
        .globl \name
        .type \name, @function
\name:
        push $number
        jmp around
        .size \name, . - \name
        .set number, number + 1
        .endm

        .text
#define ORV_FUNCTION(name) function name
#define ORV_PRIMITIVE(name, pattern) function vel##name; function orv##name
// In the order of around.cpp.
#include "src/core/primitives.def"
#include "tests/core/around.def"

        .hidden aroundBefore, aroundAfter
        .type around, @function

#ifdef __x86_64__
around:
        pushq %rbp
        movq %rsp, %rbp
        pushq %rbx
        pushq %r12
        pushq %r13
        pushq %r14
        pushq %r15
        // The structure, then registers of arguments.
        subq $400, %rsp
        andq $-16, %rsp
        movq %rsp, -48(%rbp)
        .irp n, 0, 1, 2, 3, 4, 5, 6, 7
        movups %xmm\n, 160 + 16 * \n(%rsp)
        .endr
        movq %rdi, 288(%rsp)
        movq %rsi, 296(%rsp)
        movq %rdx, 304(%rsp)
        movq %rcx, 312(%rsp)
        movq %r8, 320(%rsp)
        movq %r9, 328(%rsp)
        movq 8(%rbp), %rdi
        movq %rsp, %rsi
        call aroundBefore
        movq %rsp, %r11
        subq $8 * CHECKED, %rsp
        movq %rsp, 24(%r11)
        leaq 24(%rbp), %rsi
        movq %rsp, %rdi
        movl $CHECKED, %ecx
        rep movsq
        .irp n, 0, 1, 2, 3, 4, 5, 6, 7
        movups 160 + 16 * \n(%r11), %xmm\n
        .endr
        movq 288(%r11), %rdi
        movq 296(%r11), %rsi
        movq 304(%r11), %rdx
        movq 312(%r11), %rcx
        movq 320(%r11), %r8
        movq 328(%r11), %r9
        ldmxcsr 16(%r11)
        fldcw 20(%r11)
        movq $0x11111111, %rbx
        movq $0x22222222, %r12
        movq $0x33333333, %r13
        movq $0x44444444, %r14
        movq $0x55555555, %r15
        call *(%r11)
        movq -48(%rbp), %r11
        stmxcsr 40(%r11)
        fnstcw 44(%r11)
        fnstenv 112(%r11)
        movq %rsp, 32(%r11)
        movq %rax, 48(%r11)
        movq %rbx, 56(%r11)
        xorq %r12, %r13
        xorq %r14, %r15
        xorq %r13, %r15
        movq %r15, 64(%r11)
        pushfq
        popq 72(%r11)
        cld
        movq %r11, %rsp
        movq %r11, %rdi
        call aroundAfter
        movq -48(%rbp), %r11
        movq 48(%r11), %rax
        leaq -40(%rbp), %rsp
        popq %r15
        popq %r14
        popq %r13
        popq %r12
        popq %rbx
        popq %rbp
        addq $8, %rsp
        ret
#else
around:
        pushl %ebp
        movl %esp, %ebp
        pushl %ebx
        pushl %esi
        pushl %edi
        subl $208, %esp
        andl $-16, %esp
        leal 16(%esp), %eax
        movl %eax, -16(%ebp)
        movl %eax, 4(%esp)
        movl 4(%ebp), %ecx
        movl %ecx, (%esp)
        call aroundBefore
        movl -16(%ebp), %eax
        subl 4(%eax), %esp
        subl $4 * CHECKED, %esp
        movl %esp, 12(%eax)
        leal 12(%ebp), %esi
        movl %esp, %edi
        movl $CHECKED, %ecx
        rep movsl
        ldmxcsr 8(%eax)
        fldcw 16(%eax)
        movl $0x11111111, %ebx
        movl $0x22222222, %esi
        movl $0x33333333, %edi
        call *(%eax)
        movl -16(%ebp), %ecx
        stmxcsr 24(%ecx)
        fnstcw 28(%ecx)
        fnstenv 72(%ecx)
        movl %esp, 20(%ecx)
        movl %eax, 32(%ecx)
        movl %edx, 36(%ecx)
        movl %ebx, 40(%ecx)
        xorl %esi, %edi
        movl %edi, 44(%ecx)
        pushfl
        popl 48(%ecx)
        cld
        leal -16(%ecx), %esp
        movl %ecx, (%esp)
        call aroundAfter
        movl -16(%ebp), %ecx
        movl 32(%ecx), %eax
        movl 36(%ecx), %edx
        leal -12(%ebp), %esp
        popl %edi
        popl %esi
        popl %ebx
        popl %ebp
        addl $4, %esp
        ret
#endif
        .size around, . - around

        .section .note.GNU-stack, "", @progbits
