#include "RawCall.h"

__asm__(R"(
    .text
    .globl kOrvaneRawCallsBegin, kOrvaneRawCallsEnd, OrvaneRawCall, OrvaneRawReturn, vfork
    .hidden OrvaneRefuseProcess, kOrvaneRawCallsBegin, kOrvaneRawCallsEnd, OrvaneRawCall, OrvaneRawReturn
    .type OrvaneRawCall, @function
    .type OrvaneRawReturn, @function
    .type vfork, @function
kOrvaneRawCallsBegin:
OrvaneRawCall:
    mov %rdi, %rax
    mov %rsi, %rdi
    mov %rdx, %rsi
    mov %rcx, %rdx
    mov %r8, %r10
    mov %r9, %r8
    mov 8(%rsp), %r9
    syscall
    ret
OrvaneRawReturn:
    mov $15, %eax
    syscall
    ud2
# The child goes on with this stack and would overwrite the way back, which therefore stays in a register.
vfork:
    sub $8, %rsp
    call OrvaneRefuseProcess
    add $8, %rsp
    test %eax, %eax
    jnz 1f
    pop %rdi
    mov $58, %eax
    syscall
    push %rdi
    test %eax, %eax
    jns 2f
1:  mov $-1, %eax
2:  ret
kOrvaneRawCallsEnd:
)");
