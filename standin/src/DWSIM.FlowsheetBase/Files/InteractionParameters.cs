// Binary interaction parameters as DWSIM stores them per package: only pairs of compounds in
// the flowsheet, compounds by name. On load the file's pairs are laid over the package's
// construction table, as DWSIM does: a pair replaces the record in its slot or is added; a
// Peng-Robinson pair whose first compound is no outer key but whose second is goes into the
// reversed slot.
using System;
using System.Collections.Generic;
using System.Linq;
using System.Xml.Linq;
using DWSIM.Thermodynamics;
using DWSIM.Thermodynamics.PropertyPackages;
using DWSIM.Thermodynamics.PropertyPackages.Auxiliary;

namespace DWSIM.FlowsheetBase.Files
{
    internal static class InteractionParameters
    {
        private static IEnumerable<KeyValuePair<string, KeyValuePair<string, T>>> Pairs<T>(
            Dictionary<string, Dictionary<string, T>> table, HashSet<string> selected)
        {
            foreach (var outer in table)
            {
                if (!selected.Contains(outer.Key)) continue;
                foreach (var inner in outer.Value)
                    if (selected.Contains(inner.Key))
                        yield return new KeyValuePair<string, KeyValuePair<string, T>>(outer.Key, inner);
            }
        }

        private static string Num(double v) { return XmlValues.Double(v); }

        private static XElement Kij(string element, Dictionary<string, Dictionary<string, PR_IPData>> table, HashSet<string> selected)
        {
            return new XElement(element, Pairs(table, selected).Select(p =>
                new XElement("InteractionParameter",
                    new XAttribute("Compound1", p.Key), new XAttribute("Compound2", p.Value.Key),
                    new XAttribute("Value", Num(p.Value.Value.kij)))));
        }

        private static string Id(object id) { return id == null ? "" : Convert.ToString(id, System.Globalization.CultureInfo.InvariantCulture); }

        // One NRTL or UNIQUAC pair as DWSIM writes it; the two records share these fields.
        private static XElement ActivityPair(string c1, string c2, object id1, object id2, double a12, double a21,
                                             double b12, double b21, double c12, double c21)
        {
            return new XElement("InteractionParameter",
                new XAttribute("Compound1", c1), new XAttribute("Compound2", c2),
                new XAttribute("ID1", Id(id1)), new XAttribute("ID2", Id(id2)),
                new XAttribute("A12", Num(a12)), new XAttribute("A21", Num(a21)),
                new XAttribute("B12", Num(b12)), new XAttribute("B21", Num(b21)),
                new XAttribute("C12", Num(c12)), new XAttribute("C21", Num(c21)));
        }

        public static IEnumerable<XElement> Write(PropertyPackage pp, HashSet<string> selected, HashSet<string> selectedCas)
        {
            var pr = pp as PengRobinsonPropertyPackage;
            if (pr != null) return new[] { Kij("InteractionParameters", pr.m_pr.InteractionParameters, selected) };
            var srk = pp as SRKPropertyPackage;
            if (srk != null) return new[] { Kij("InteractionParameters", srk.m_pr.InteractionParameters, selected) };
            var nrtl = pp as NRTLPropertyPackage;
            if (nrtl != null)
            {
                return new[]
                {
                    Kij("InteractionParameters_PR", nrtl.m_pr.InteractionParameters, selected),
                    new XElement("InteractionParameters_NRTL", Pairs(nrtl.m_uni.InteractionParameters, selected).Select(p =>
                    {
                        var d = p.Value.Value;
                        var e = ActivityPair(p.Key, p.Value.Key, d.ID1, d.ID2, d.A12, d.A21, d.B12, d.B21, d.C12, d.C21);
                        e.Add(new XAttribute("alpha12", Num(d.alpha12)));
                        return e;
                    }))
                };
            }
            var uniquac = pp as UNIQUACPropertyPackage;
            if (uniquac != null)
            {
                return new[]
                {
                    new XElement("InteractionParameters_UNIQUAC", Pairs(uniquac.m_uni.InteractionParameters, selected).Select(p =>
                    {
                        var d = p.Value.Value;
                        return ActivityPair(p.Key, p.Value.Key, d.ID1, d.ID2, d.A12, d.A21, d.B12, d.B21, d.C12, d.C21);
                    }))
                };
            }
            var wilson = pp as WilsonPropertyPackage;
            if (wilson != null)
            {
                // Wilson's table is keyed by CAS number; so are its pairs here.
                return new[]
                {
                    new XElement("InteractionParameters_Wilson", Pairs(wilson.WilsonM.BIPs, selectedCas).Select(p =>
                        new XElement("InteractionParameter",
                            new XAttribute("CAS1", p.Key), new XAttribute("CAS2", p.Value.Key),
                            new XAttribute("A12", Num(p.Value.Value.Length > 0 ? p.Value.Value[0] : 0)),
                            new XAttribute("A21", Num(p.Value.Value.Length > 1 ? p.Value.Value[1] : 0)))))
                };
            }
            return Enumerable.Empty<XElement>();
        }

        // The parameter lists the stand-in holds for this package; other lists in a loaded file
        // (e.g. an NRTL package's vapour-phase kij) are written back as they were.
        public static string[] Held(PropertyPackage pp)
        {
            if (pp is PengRobinsonPropertyPackage || pp is SRKPropertyPackage) return new[] { "InteractionParameters" };
            if (pp is NRTLPropertyPackage) return new[] { "InteractionParameters_PR", "InteractionParameters_NRTL" };
            if (pp is UNIQUACPropertyPackage) return new[] { "InteractionParameters_UNIQUAC" };
            if (pp is WilsonPropertyPackage) return new[] { "InteractionParameters_Wilson" };
            return new string[0];
        }

        public static bool NeedsVapourKij(PropertyPackage pp)
        {
            return pp is NRTLPropertyPackage || pp is UNIQUACPropertyPackage || pp is WilsonPropertyPackage;
        }

        private static Dictionary<string, T> Row<T>(Dictionary<string, Dictionary<string, T>> table, string key)
        {
            Dictionary<string, T> row;
            if (!table.TryGetValue(key, out row)) { row = new Dictionary<string, T>(); table.Add(key, row); }
            return row;
        }

        private class Attrs
        {
            private readonly XElement _e;
            private readonly string _context;
            private readonly LoadNotes _notes;

            public Attrs(XElement e, string context, LoadNotes notes) { _e = e; _context = context; _notes = notes; }

            public string Text(string name)
            {
                var a = _e.Attribute(name);
                if (a == null || a.Value.Length == 0) throw _notes.Error(_context + ": an interaction parameter has no " + name);
                return a.Value;
            }

            public string Optional(string name) { var a = _e.Attribute(name); return a == null ? "" : a.Value; }

            public double Number(string name, bool required = true)
            {
                var a = _e.Attribute(name);
                if (a == null)
                {
                    if (required) throw _notes.Error(_context + ": an interaction parameter has no " + name);
                    return 0;
                }
                double v;
                if (!XmlValues.TryDouble(a.Value, out v))
                    throw _notes.Error(string.Format("{0}: interaction parameter {1} = '{2}' is not a number (invariant culture)", _context, name, a.Value));
                return v;
            }
        }

        public static void Read(PropertyPackage pp, XElement el, string context, LoadNotes notes)
        {
            Func<string, IEnumerable<Attrs>> items = name =>
            {
                var list = el.Element(name);
                return list == null ? Enumerable.Empty<Attrs>() : list.Elements("InteractionParameter").Select(e => new Attrs(e, context, notes)).ToList();
            };
            Action<Dictionary<string, Dictionary<string, PR_IPData>>, string, bool> kij = (table, list, reverse) =>
            {
                foreach (var a in items(list))
                {
                    string c1 = a.Text("Compound1"), c2 = a.Text("Compound2");
                    if (reverse && !table.ContainsKey(c1) && table.ContainsKey(c2)) { var t = c1; c1 = c2; c2 = t; }
                    Row(table, c1)[c2] = new PR_IPData { Name1 = c1, Name2 = c2, kij = a.Number("Value") };
                }
            };
            var pr = pp as PengRobinsonPropertyPackage;
            if (pr != null) kij(pr.m_pr.InteractionParameters, "InteractionParameters", true);
            var srk = pp as SRKPropertyPackage;
            if (srk != null) kij(srk.m_pr.InteractionParameters, "InteractionParameters", false);
            var nrtl = pp as NRTLPropertyPackage;
            // DWSIM reads an NRTL package's pairs only when its vapour kij list is there.
            if (nrtl != null && el.Element("InteractionParameters_PR") != null)
            {
                kij(nrtl.m_pr.InteractionParameters, "InteractionParameters_PR", true);
                foreach (var a in items("InteractionParameters_NRTL"))
                {
                    string c1 = a.Text("Compound1"), c2 = a.Text("Compound2");
                    Row(nrtl.m_uni.InteractionParameters, c1)[c2] = new NRTL_IPData
                    {
                        ID1 = a.Optional("ID1"), ID2 = a.Optional("ID2"),
                        A12 = a.Number("A12"), A21 = a.Number("A21"),
                        B12 = a.Number("B12", false), B21 = a.Number("B21", false),
                        C12 = a.Number("C12", false), C21 = a.Number("C21", false),
                        alpha12 = a.Number("alpha12")
                    };
                }
            }
            var uniquac = pp as UNIQUACPropertyPackage;
            if (uniquac != null)
            {
                foreach (var a in items("InteractionParameters_UNIQUAC"))
                {
                    string c1 = a.Text("Compound1"), c2 = a.Text("Compound2");
                    Row(uniquac.m_uni.InteractionParameters, c1)[c2] = new UNIQUAC_IPData
                    {
                        ID1 = a.Optional("ID1"), ID2 = a.Optional("ID2"),
                        A12 = a.Number("A12"), A21 = a.Number("A21"),
                        B12 = a.Number("B12", false), B21 = a.Number("B21", false),
                        C12 = a.Number("C12", false), C21 = a.Number("C21", false)
                    };
                }
            }
            var wilson = pp as WilsonPropertyPackage;
            if (wilson != null)
            {
                foreach (var a in items("InteractionParameters_Wilson"))
                    Row(wilson.WilsonM.BIPs, a.Text("CAS1"))[a.Text("CAS2")] = new[] { a.Number("A12"), a.Number("A21") };
            }
        }
    }
}
