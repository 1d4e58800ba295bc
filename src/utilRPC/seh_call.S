// int seh_call(void (*function)(void *), void *argument, unsigned long *code)
//
// x86_64: a table-driven scope with __C_specific_handler. The exception code is stored by the
// filter, since the register that hands it to the handler is not reliable on every runtime.
// i686: a registration record on the thread's handler chain and RtlUnwind.

#if defined(__x86_64__)

#define CODE_HOME 64                       // third argument's home slot above our frame of 40

        .text
        .globl  seh_call
        .def    seh_call; .scl 2; .type 32; .endef
        .seh_proc seh_call
seh_call:
        subq    $40, %rsp
        .seh_stackalloc 40
        .seh_endprologue
        movq    %r8, CODE_HOME(%rsp)
        movq    %rcx, %rax
        movq    %rdx, %rcx
.Lscope_begin:
        call    *%rax
        nop                                // keeps the return address inside the scope
.Lscope_end:
        xorl    %eax, %eax
        addq    $40, %rsp
        ret
.Lhandled:
        movl    $1, %eax
        addq    $40, %rsp
        ret
        .seh_handler __C_specific_handler, @except
        .seh_handlerdata
        .long   1
        .rva    .Lscope_begin, .Lscope_end, .Lfilter, .Lhandled
        .text
        .seh_endproc

// long filter(EXCEPTION_POINTERS *pointers, void *frame)
.Lfilter:
        movq    (%rcx), %rax               // ExceptionRecord
        movl    (%rax), %eax               // ExceptionCode
        movq    CODE_HOME(%rdx), %rcx
        movl    %eax, (%rcx)
        movl    $1, %eax                   // EXCEPTION_EXECUTE_HANDLER
        ret

#elif defined(__i386__)

        .text
        .globl  _seh_call
        .def    _seh_call; .scl 2; .type 32; .endef
_seh_call:
        pushl   %ebp
        movl    %esp, %ebp
        pushl   %ebx
        pushl   %esi
        pushl   %edi
        pushl   %ebp                       // record+8: the frame, for the handler
        pushl   $.Lhandler                 // record+4
        pushl   %fs:0                      // record+0: the previous record
        movl    %esp, %fs:0
        pushl   12(%ebp)                   // argument
        call    *8(%ebp)                   // function
        addl    $4, %esp
        xorl    %eax, %eax
.Lleave:
        popl    %fs:0
        addl    $8, %esp
        popl    %edi
        popl    %esi
        popl    %ebx
        popl    %ebp
        ret

// EXCEPTION_DISPOSITION handler(ExceptionRecord, EstablisherFrame, Context, Dispatcher), cdecl
.Lhandler:
        movl    4(%esp), %eax
        testl   $0x66, 4(%eax)             // an unwind that passes through has nothing to do here
        jnz     .Lcontinue_search
        movl    8(%esp), %ebx              // our record
        movl    8(%ebx), %ebp              // our frame
        movl    16(%ebp), %ecx             // code
        movl    (%eax), %edx               // ExceptionCode
        movl    %edx, (%ecx)
        pushl   %ebp                       // RtlUnwind keeps no register
        pushl   %ebx
        pushl   $0                         // ReturnValue
        pushl   %eax                       // ExceptionRecord
        pushl   $.Lunwound                 // TargetIp
        pushl   %ebx                       // TargetFrame
        call    _RtlUnwind@16
.Lunwound:
        popl    %ebx
        popl    %ebp
        movl    %ebx, %esp
        cld
        movl    $1, %eax
        jmp     .Lleave
.Lcontinue_search:
        movl    $1, %eax                   // ExceptionContinueSearch
        ret

#endif
