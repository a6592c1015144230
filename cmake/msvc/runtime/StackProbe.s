# __chkstk: a frame larger than a page touches each of its pages in turn, so that the system can grow the stack. rax
# holds the frame's size; no register may change.
    .text
    .globl __chkstk
__chkstk:
    pushq %rcx
    pushq %rax
    leaq 24(%rsp), %rcx
.Lnext:
    cmpq $0x1000, %rax
    jb .Llast
    subq $0x1000, %rcx
    testq %rcx, (%rcx)
    subq $0x1000, %rax
    jmp .Lnext
.Llast:
    subq %rax, %rcx
    testq %rcx, (%rcx)
    popq %rax
    popq %rcx
    retq
