// Reading and writing an object's plain members (numbers, flags, enums, text) as child
// elements named after the .NET property, the way DWSIM's XML serializer does.
using System;
using System.Collections.Generic;
using System.Linq;
using System.Reflection;
using System.Xml.Linq;

namespace DWSIM.FlowsheetBase.Files
{
    internal static class Members
    {
        private static readonly Dictionary<Type, List<PropertyInfo>> Cache = new Dictionary<Type, List<PropertyInfo>>();

        // Proxies DWSIM writes beside the member they stand for; on load the member itself counts.
        public static readonly Dictionary<string, string> Proxies = new Dictionary<string, string>
        {
            { "HeatDuty", "DeltaQ" }, { "Efficiency", "Eficiencia" }, { "PressureDrop", "DeltaP" },
            { "PressureIncrease", "DeltaP" }, { "TemperatureChange", "DeltaT" }
        };

        private static bool IsPlain(Type t)
        {
            var u = Nullable.GetUnderlyingType(t) ?? t;
            return u == typeof(double) || u == typeof(float) || u == typeof(int) || u == typeof(long) ||
                   u == typeof(byte) || u == typeof(bool) || u == typeof(string) || u.IsEnum;
        }

        // Public read/write plain properties, the class's own first, then its bases'.
        public static List<PropertyInfo> Plain(Type t)
        {
            lock (Cache)
            {
                List<PropertyInfo> list;
                if (Cache.TryGetValue(t, out list)) return list;
                list = new List<PropertyInfo>();
                var seen = new HashSet<string>();
                for (var level = t; level != null && level != typeof(object); level = level.BaseType)
                {
                    foreach (var p in level.GetProperties(BindingFlags.Public | BindingFlags.Instance | BindingFlags.DeclaredOnly))
                    {
                        if (p.GetIndexParameters().Length > 0 || !IsPlain(p.PropertyType)) continue;
                        if (p.GetGetMethod() == null || p.GetSetMethod() == null) continue;
                        if (seen.Add(p.Name)) list.Add(p);
                    }
                }
                Cache[t] = list;
                return list;
            }
        }

        private static readonly Dictionary<string, List<PropertyInfo>> ReadableCache = new Dictionary<string, List<PropertyInfo>>();

        // What a load sets: the plain members minus identity and proxies of members present.
        public static List<PropertyInfo> Readable(Type t, ICollection<string> skip)
        {
            string key = t.AssemblyQualifiedName + "|" + string.Join("|", skip);
            lock (ReadableCache)
            {
                List<PropertyInfo> list;
                if (ReadableCache.TryGetValue(key, out list)) return list;
                var all = Plain(t);
                var names = new HashSet<string>(all.Select(p => p.Name));
                list = all.Where(p => !skip.Contains(p.Name) && !(Proxies.ContainsKey(p.Name) && names.Contains(Proxies[p.Name]))).ToList();
                ReadableCache[key] = list;
                return list;
            }
        }

        public static string Format(object v)
        {
            if (v == null) return null;
            if (v is double) return XmlValues.Double((double)v);
            if (v is float) return XmlValues.Single((float)v);
            if (v is bool) return XmlValues.Bool((bool)v);
            if (v is Enum) return v.ToString();
            if (v is byte || v is int || v is long) return Convert.ToInt64(v).ToString(System.Globalization.CultureInfo.InvariantCulture);
            return v.ToString();
        }

        // Nullable members without a value and null strings are left out, as DWSIM does.
        public static void Write(XElement parent, object obj, IEnumerable<PropertyInfo> props)
        {
            foreach (var p in props)
            {
                string text = Format(p.GetValue(obj, null));
                if (text != null) parent.Add(new XElement(p.Name, text));
            }
        }

        public static void Write(XElement parent, object obj, ICollection<string> skip = null)
        {
            Write(parent, obj, Plain(obj.GetType()).Where(p => skip == null || !skip.Contains(p.Name)));
        }

        // Children by name, the first of each name winning (as DWSIM reads).
        public static Dictionary<string, XElement> Index(IEnumerable<XElement> children)
        {
            var d = new Dictionary<string, XElement>();
            foreach (var c in children)
                if (!d.ContainsKey(c.Name.LocalName)) d.Add(c.Name.LocalName, c);
            return d;
        }

        // Sets each member from the first child of its name. A nullable member whose element is
        // absent becomes null (the writer left it out because it had no value); others keep
        // their defaults. Enum names the stand-in lacks are reported and leave the default.
        public static void Read(IDictionary<string, XElement> source, object obj, IEnumerable<PropertyInfo> props, string context, LoadNotes notes)
        {
            foreach (var p in props)
            {
                XElement el;
                var type = p.PropertyType;
                var under = Nullable.GetUnderlyingType(type);
                if (!source.TryGetValue(p.Name, out el))
                {
                    if (under != null) p.SetValue(obj, null, null);
                    continue;
                }
                object value;
                if (!TryParse(el.Value, under ?? type, out value))
                {
                    var u = under ?? type;
                    if (u.IsEnum)
                    {
                        notes.Warn(string.Format("{0}: {1} = '{2}' is not a value the stand-in knows ({3}); the default {4} was kept",
                            context, p.Name, el.Value, string.Join(", ", Enum.GetNames(u)), p.GetValue(obj, null)));
                        continue;
                    }
                    throw notes.Error(string.Format("{0}: element {1} = '{2}' is not a valid {3} (numbers are written with a decimal point, invariant culture)",
                        context, p.Name, el.Value, Describe(u)));
                }
                p.SetValue(obj, value, null);
            }
        }

        public static void Read(XElement source, object obj, IEnumerable<PropertyInfo> props, string context, LoadNotes notes)
        {
            Read(Index(source.Elements()), obj, props, context, notes);
        }

        private static string Describe(Type t)
        {
            if (t == typeof(double) || t == typeof(float)) return "number";
            if (t == typeof(bool)) return "boolean";
            if (t == typeof(int) || t == typeof(long) || t == typeof(byte)) return "integer";
            return t.Name;
        }

        public static bool TryParse(string text, Type t, out object value)
        {
            value = null;
            if (t == typeof(string)) { value = text; return true; }
            if (t == typeof(double)) { double d; if (!XmlValues.TryDouble(text, out d)) return false; value = d; return true; }
            if (t == typeof(float)) { float f; if (!XmlValues.TrySingle(text, out f)) return false; value = f; return true; }
            if (t == typeof(bool)) { bool b; if (!XmlValues.TryBool(text, out b)) return false; value = b; return true; }
            if (t == typeof(int)) { int i; if (!int.TryParse(text.Trim(), System.Globalization.NumberStyles.Integer, System.Globalization.CultureInfo.InvariantCulture, out i)) return false; value = i; return true; }
            if (t == typeof(long)) { long l; if (!long.TryParse(text.Trim(), System.Globalization.NumberStyles.Integer, System.Globalization.CultureInfo.InvariantCulture, out l)) return false; value = l; return true; }
            if (t == typeof(byte)) { byte y; if (!byte.TryParse(text.Trim(), System.Globalization.NumberStyles.Integer, System.Globalization.CultureInfo.InvariantCulture, out y)) return false; value = y; return true; }
            if (t.IsEnum)
            {
                var s = text.Trim();
                // Member names are case-sensitive; a number must name a defined member.
                if (Enum.GetNames(t).Contains(s)) { value = Enum.Parse(t, s); return true; }
                long n;
                if (long.TryParse(s, out n) && Enum.IsDefined(t, Convert.ChangeType(n, Enum.GetUnderlyingType(t)))) { value = Enum.ToObject(t, n); return true; }
                return false;
            }
            return false;
        }
    }
}
