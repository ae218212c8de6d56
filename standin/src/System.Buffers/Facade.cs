// Mono 6.8 as packaged by Debian carries the System.Buffers types inside mscorlib but ships no
// System.Buffers.dll facade, so the bare name cannot be resolved. This facade only forwards.
using System.Reflection;
using System.Runtime.CompilerServices;

[assembly: AssemblyVersion("4.0.3.0")]
[assembly: AssemblyDescription("Type-forwarding facade to mscorlib (kelvane stand-in)")]
[assembly: TypeForwardedTo(typeof(System.Buffers.ArrayPool<>))]
[assembly: TypeForwardedTo(typeof(System.Buffers.IMemoryOwner<>))]
[assembly: TypeForwardedTo(typeof(System.Buffers.IPinnable))]
[assembly: TypeForwardedTo(typeof(System.Buffers.MemoryHandle))]
[assembly: TypeForwardedTo(typeof(System.Buffers.MemoryManager<>))]
[assembly: TypeForwardedTo(typeof(System.Buffers.MemoryPool<>))]
[assembly: TypeForwardedTo(typeof(System.Buffers.OperationStatus))]
[assembly: TypeForwardedTo(typeof(System.Buffers.ReadOnlySpanAction<,>))]
[assembly: TypeForwardedTo(typeof(System.Buffers.SpanAction<,>))]
