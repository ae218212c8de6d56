// The .dwxmz container: a PKZIP archive holding the XML document. Written as DWSIM's
// SharpZipLib writes it (one deflated entry, UTF-8 name flag, sizes and CRC in the local
// header); read as DWSIM reads it, walking the local headers in order.
using System;
using System.Collections.Generic;
using System.IO;
using System.IO.Compression;
using System.Text;

namespace DWSIM.FlowsheetBase.Files
{
    public class ZipEntryData
    {
        public string Name;        // as stored, directory part included
        public byte[] Data;
    }

    public static class ZipContainer
    {
        private const uint LocalSig = 0x04034b50, CentralSig = 0x02014b50, EndSig = 0x06054b50;
        private const ushort Utf8Flag = 0x0800, DescriptorFlag = 0x0008, EncryptedFlag = 0x0001;
        private const ushort MadeBy = 51, Needed = 20, Deflated = 8, Stored = 0;

        private static readonly uint[] CrcTable = MakeCrcTable();

        private static uint[] MakeCrcTable()
        {
            var t = new uint[256];
            for (uint n = 0; n < 256; n++)
            {
                uint c = n;
                for (int k = 0; k < 8; k++) c = (c & 1) != 0 ? 0xEDB88320u ^ (c >> 1) : c >> 1;
                t[n] = c;
            }
            return t;
        }

        public static uint Crc32(byte[] data)
        {
            uint c = 0xFFFFFFFFu;
            foreach (byte b in data) c = CrcTable[(c ^ b) & 0xFF] ^ (c >> 8);
            return c ^ 0xFFFFFFFFu;
        }

        private static void DosTime(DateTime t, out ushort time, out ushort date)
        {
            if (t.Year < 1980) t = new DateTime(1980, 1, 1);
            time = (ushort)((t.Hour << 11) | (t.Minute << 5) | (t.Second / 2));
            date = (ushort)(((t.Year - 1980) << 9) | (t.Month << 5) | t.Day);
        }

        // Builds the whole archive in memory so a failure leaves no half-written file behind.
        public static byte[] Build(string entryName, byte[] content, DateTime timestamp)
        {
            byte[] packed;
            using (var ms = new MemoryStream())
            {
                using (var ds = new DeflateStream(ms, CompressionLevel.Optimal, true)) ds.Write(content, 0, content.Length);
                packed = ms.ToArray();
            }
            byte[] name = Encoding.UTF8.GetBytes(entryName);
            uint crc = Crc32(content);
            ushort time, date;
            DosTime(timestamp, out time, out date);

            using (var ms = new MemoryStream())
            using (var w = new BinaryWriter(ms))
            {
                w.Write(LocalSig); w.Write(Needed); w.Write(Utf8Flag); w.Write(Deflated);
                w.Write(time); w.Write(date); w.Write(crc);
                w.Write((uint)packed.Length); w.Write((uint)content.Length);
                w.Write((ushort)name.Length); w.Write((ushort)0);
                w.Write(name); w.Write(packed);

                long central = ms.Position;
                w.Write(CentralSig); w.Write(MadeBy); w.Write(Needed); w.Write(Utf8Flag); w.Write(Deflated);
                w.Write(time); w.Write(date); w.Write(crc);
                w.Write((uint)packed.Length); w.Write((uint)content.Length);
                w.Write((ushort)name.Length); w.Write((ushort)0); w.Write((ushort)0);   // name, extra, comment
                w.Write((ushort)0); w.Write((ushort)0); w.Write((uint)0);                // disk, internal, external attrs
                w.Write((uint)0);                                                       // local header offset
                w.Write(name);
                long centralSize = ms.Position - central;

                w.Write(EndSig); w.Write((ushort)0); w.Write((ushort)0);
                w.Write((ushort)1); w.Write((ushort)1);
                w.Write((uint)centralSize); w.Write((uint)central); w.Write((ushort)0);
                w.Flush();
                return ms.ToArray();
            }
        }

        private static ushort U16(byte[] b, long at) { return (ushort)(b[at] | (b[at + 1] << 8)); }
        private static uint U32(byte[] b, long at) { return (uint)(b[at] | (b[at + 1] << 8) | (b[at + 2] << 16) | (b[at + 3] << 24)); }

        private static void Need(byte[] b, long at, long count, string what)
        {
            if (at < 0 || at + count > b.Length)
                throw new InvalidDataException("the zip archive is truncated (" + what + " runs past the end of the file)");
        }

        // Sizes of entries written with a data descriptor, from the central directory.
        private static Dictionary<long, long[]> CentralSizes(byte[] b)
        {
            var sizes = new Dictionary<long, long[]>();
            for (long i = b.Length - 22; i >= 0 && i >= b.Length - 22 - 65535; i--)
            {
                if (U32(b, i) != EndSig) continue;
                long at = U32(b, i + 16);
                int count = U16(b, i + 10);
                for (int k = 0; k < count && at + 46 <= b.Length && U32(b, at) == CentralSig; k++)
                {
                    sizes[U32(b, at + 42)] = new long[] { U32(b, at + 20), U32(b, at + 24), U32(b, at + 16) };
                    at += 46 + U16(b, at + 28) + U16(b, at + 30) + U16(b, at + 32);
                }
                break;
            }
            return sizes;
        }

        // Every file entry in local-header order, inflated and checked against its CRC.
        public static List<ZipEntryData> ReadEntries(byte[] b)
        {
            if (b.Length == 0) throw new InvalidDataException("the file is empty, not a zip archive");
            if (b.Length < 4 || U32(b, 0) != LocalSig) throw new InvalidDataException("the file is not a zip archive (no local file header at its start)");
            var entries = new List<ZipEntryData>();
            Dictionary<long, long[]> central = null;
            long at = 0;
            while (at + 4 <= b.Length && U32(b, at) == LocalSig)
            {
                Need(b, at, 30, "a local file header");
                ushort flags = U16(b, at + 6), method = U16(b, at + 8);
                uint crc = U32(b, at + 14);
                long packed = U32(b, at + 18), size = U32(b, at + 22);
                int nameLen = U16(b, at + 26), extraLen = U16(b, at + 28);
                Need(b, at + 30, nameLen + extraLen, "an entry name");
                // Names without the UTF-8 flag are code page 437; only the ".xml" ending matters here.
                var enc = (flags & Utf8Flag) != 0 ? Encoding.UTF8 : Encoding.GetEncoding("iso-8859-1");
                string name = enc.GetString(b, (int)at + 30, nameLen);
                if ((flags & EncryptedFlag) != 0) throw new InvalidDataException("entry '" + name + "' is encrypted; password-protected files cannot be read");
                if ((flags & DescriptorFlag) != 0)
                {
                    if (central == null) central = CentralSizes(b);
                    long[] s;
                    if (!central.TryGetValue(at, out s)) throw new InvalidDataException("entry '" + name + "' has its sizes after the data and no central directory names them");
                    packed = s[0]; size = s[1]; crc = (uint)s[2];
                }
                long dataAt = at + 30 + nameLen + extraLen;
                Need(b, dataAt, packed, "the data of entry '" + name + "'");
                byte[] data;
                if (method == Stored)
                {
                    data = new byte[packed];
                    Array.Copy(b, dataAt, data, 0, packed);
                }
                else if (method == Deflated)
                {
                    data = new byte[size];
                    int got = 0, n;
                    try
                    {
                        using (var ds = new DeflateStream(new MemoryStream(b, (int)dataAt, (int)packed), CompressionMode.Decompress))
                            while (got < size && (n = ds.Read(data, got, (int)(size - got))) > 0) got += n;
                    }
                    catch (Exception ex)
                    {
                        if (ex is InvalidDataException) throw;
                        throw new InvalidDataException("entry '" + name + "' is damaged: " + ex.Message, ex);
                    }
                    if (got != size) throw new InvalidDataException("entry '" + name + "' inflates to " + got + " bytes, its header says " + size);
                }
                else throw new InvalidDataException("entry '" + name + "' uses compression method " + method + "; only stored (0) and deflated (8) are read");
                if (Crc32(data) != crc) throw new InvalidDataException("entry '" + name + "' is damaged (CRC mismatch)");
                entries.Add(new ZipEntryData { Name = name, Data = data });
                at = dataAt + packed;
                if ((flags & DescriptorFlag) != 0)
                {
                    if (at + 4 <= b.Length && U32(b, at) == 0x08074b50) at += 4;
                    at += 12;
                }
            }
            return entries;
        }
    }
}
