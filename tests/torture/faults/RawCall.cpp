#include "RawCall.h"

__asm__(R"(
    .text
    .globl kOrvaneRawCallsBegin, kOrvaneRawCallsEnd, OrvaneRawCall, OrvaneRawReturn
    .hidden kOrvaneRawCallsBegin, kOrvaneRawCallsEnd, OrvaneRawCall, OrvaneRawReturn
    .type OrvaneRawCall, @function
    .type OrvaneRawReturn, @function
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
kOrvaneRawCallsEnd:
)");
