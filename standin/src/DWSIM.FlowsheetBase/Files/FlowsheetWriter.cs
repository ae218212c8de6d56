// The flowsheet as DWSIM's XML document: root DWSIM_Simulation_Data with its sections in the
// order DWSIM 10 writes them (automation mode: no BuildVersion). Objects loaded from a DWSIM
// file also get back the elements the stand-in does not model.
using System;
using System.Collections.Generic;
using System.IO;
using System.Linq;
using System.Text;
using System.Xml;
using System.Xml.Linq;
using DWSIM.Interfaces;
using DWSIM.Interfaces.Enums.GraphicObjects;
using DWSIM.SharedClasses.UnitOperations;
using DWSIM.Thermodynamics.PropertyPackages;
using DWSIM.Thermodynamics.Streams;
using DWSIM.UnitOperations.SpecialOps;
using DWSIM.UnitOperations.Streams;
using DWSIM.UnitOperations.UnitOperations;

namespace DWSIM.FlowsheetBase.Files
{
    internal static class FlowsheetWriter
    {
        public const string CompoundType = "DWSIM.Thermodynamics.BaseClasses.Compound";
        public const string PhasePropertiesType = "DWSIM.Thermodynamics.BaseClasses.PhaseProperties";
        public const string ConstantsType = "DWSIM.Thermodynamics.BaseClasses.ConstantProperties";

        // Sections after Reactions, in DWSIM's order; null = not written unless a load kept it.
        private static readonly string[] Trailing =
            { "StoredSolutions", "DynamicsManager", "OptimizationCases", "SensitivityAnalysis", "ScriptItems", "ChartItems", "ParticleSizeDistributions", "Results", "Spreadsheet" };
        private static readonly string[] WrittenEmpty =
            { "StoredSolutions", "OptimizationCases", "SensitivityAnalysis", "ScriptItems", "ChartItems", "ParticleSizeDistributions" };

        // Element names the writer produces itself; an element loaded from a file is written
        // back only for names outside these sets.
        public static readonly string[] ObjectSpecials = { "Type", "Name2", "PropertyPackage", "Phases", "SplitRatios", "Ratios", "SeparationSpecs" };
        public static readonly string[] GraphicSpecials = { "Type", "IsConnector", "InputConnectors", "OutputConnectors", "EnergyConnector", "SpecialConnectors" };
        public static readonly string[] PackageSpecials = { "ID", "Type" };

        // Proxies of owned members are owned too: a stale copy must not override the member.
        public static HashSet<string> Owned(Type t, IEnumerable<string> specials)
        {
            var s = new HashSet<string>(Members.Plain(t).Select(p => p.Name));
            s.UnionWith(specials);
            s.UnionWith(Members.Proxies.Where(kv => s.Contains(kv.Value)).Select(kv => kv.Key).ToList());
            return s;
        }

        public static HashSet<string> OwnedByPackage(PropertyPackage pp)
        {
            return Owned(pp.GetType(), PackageSpecials.Concat(InteractionParameters.Held(pp)));
        }

        public static XDocument Build(IFlowsheet fs)
        {
            var state = Origins.Of(fs);
            var root = new XElement("DWSIM_Simulation_Data");
            var written = new HashSet<string>();
            Action<XElement> add = e => { root.Add(e); written.Add(e.Name.LocalName); };
            Func<string, XElement> kept = name => state == null ? null : state.Sections.FirstOrDefault(e => e.Name.LocalName == name);

            add(new XElement("GeneralInfo",
                new XElement("SavedOn", DateTime.Now.ToString("o")),
                new XElement("SavedFromClassicUI", "false")));
            add(new XElement("SimulationObjects", fs.SimulationObjects.Values.Select(o => SimulationObject(o))));
            add(Copy(kept("Settings")) ?? new XElement("Settings"));
            add(Copy(kept("DynamicProperties")) ?? new XElement("DynamicProperties"));
            var graphics = new XElement("GraphicObjects", fs.SimulationObjects.Values.Where(o => o.GraphicObject != null).Select(o => Graphic(o.GraphicObject)));
            if (state != null) graphics.Add(state.Drawings.Select(Copy));
            add(graphics);
            var selected = new HashSet<string>(fs.SelectedCompounds.Keys);
            var selectedCas = new HashSet<string>(fs.SelectedCompounds.Values.Select(c => c.CAS_Number ?? ""));
            add(new XElement("PropertyPackages", fs.PropertyPackages.Values.Select(p => Package(p, selected, selectedCas))));
            add(new XElement("Compounds", fs.SelectedCompounds.Values.Select(c => Compound(c, state))));
            add(Copy(kept("ReactionSets")) ?? new XElement("ReactionSets",
                new XElement("ReactionSet", new XElement("ID", "DefaultSet"), new XElement("Name", "Default Set"),
                             new XElement("Description", ""), new XElement("Reactions"))));
            add(Copy(kept("Reactions")) ?? new XElement("Reactions"));
            foreach (var name in Trailing)
            {
                var e = Copy(kept(name)) ?? (WrittenEmpty.Contains(name) ? new XElement(name) : null);
                if (e != null) add(e);
            }
            if (state != null)
                foreach (var e in state.Sections.Where(s => !written.Contains(s.Name.LocalName))) root.Add(Copy(e));
            return new XDocument(root);
        }

        private static XElement Copy(XElement e) { return e == null ? null : new XElement(e); }

        // UTF-8 with BOM, two-space indent, CRLF, no newline after the root: XDocument.Save's form.
        public static byte[] Bytes(XDocument doc)
        {
            var settings = new XmlWriterSettings
            {
                Encoding = new UTF8Encoding(true), Indent = true, IndentChars = "  ", NewLineChars = "\r\n"
            };
            using (var ms = new MemoryStream())
            {
                using (var w = XmlWriter.Create(ms, settings)) doc.Save(w);
                return ms.ToArray();
            }
        }

        private static void Merge(XElement generated, XElement kept, ICollection<string> owned)
        {
            if (kept == null) return;
            var have = new HashSet<string>(generated.Elements().Select(e => e.Name.LocalName));
            foreach (var e in kept.Elements())
            {
                string name = e.Name.LocalName, primary;
                if (have.Contains(name)) continue;
                // A proxy the file had (e.g. a compressor's HeatDuty) follows its member's value now.
                if (Members.Proxies.TryGetValue(name, out primary) && owned.Contains(primary))
                {
                    var source = generated.Element(primary);
                    if (source != null) { generated.Add(new XElement(name, source.Value)); have.Add(name); }
                    continue;
                }
                if (!owned.Contains(name) && have.Add(name)) generated.Add(new XElement(e));
            }
        }

        private static string PackageId(IPropertyPackage pp) { return pp != null ? pp.UniqueID : ""; }

        private static XElement SimulationObject(ISimulationObject obj)
        {
            var unmodelled = obj as UnmodelledUnitOperation;
            if (unmodelled != null && unmodelled.SourceElement != null) return new XElement(unmodelled.SourceElement);

            var el = new XElement("SimulationObject", new XElement("Type", obj.GetType().FullName));
            Members.Write(el, obj);
            var ms = obj as MaterialStream;
            if (ms != null)
            {
                el.Add(new XElement("Name2", ms.Name));
                el.Add(new XElement("PropertyPackage", PackageId(((BaseClass)ms).PropertyPackage)));
                el.Add(Phases(ms));
            }
            else if (obj is EnergyStream)
            {
                el.Add(new XElement("Name2", obj.Name));
            }
            else
            {
                var sp = obj as Splitter;
                if (sp != null)
                {
                    var ratios = sp.Ratios.Cast<object>().Select(r => Convert.ToDouble(r)).ToList();
                    el.Add(new XElement("SplitRatios", ratios.Select(r => new XElement("SplitRatio", XmlValues.Double(r)))));
                    el.Add(new XElement("Ratios", string.Join(",", ratios.Select(XmlValues.Double))));
                }
                var cs = obj as ComponentSeparator;
                if (cs != null)
                {
                    el.Add(new XElement("SeparationSpecs", cs.ComponentSepSpecs.Select(kv => new XElement("SeparationSpec",
                        new XAttribute("ID", kv.Key),
                        new XAttribute("CompID", kv.Value.ComponentID ?? ""),
                        new XAttribute("SepSpec", kv.Value.SepSpec.ToString()),
                        new XAttribute("SpecUnit", kv.Value.SpecUnit ?? ""),
                        new XAttribute("SpecValue", XmlValues.Double(kv.Value.SpecValue))))));
                }
                var rc = obj as Recycle;
                if (rc != null) WriteRecycle(el, rc);
                el.Add(new XElement("PropertyPackage", PackageId(obj.PropertyPackage)));
            }
            Merge(el, Origins.Element(obj), Owned(obj.GetType(), ObjectSpecials));
            return el;
        }

        // The Recycle's dictionaries and helper objects, in the forms DWSIM writes them.
        private static void WriteRecycle(XElement el, Recycle rc)
        {
            Func<string, Dictionary<string, double>, XElement> items = (name, d) => new XElement(name,
                d.Select(kv => new XElement("Item", new XAttribute("Key", kv.Key), new XAttribute("Value", XmlValues.Double(kv.Value)))));
            el.Add(items("Errors", rc.Errors), items("Values", rc.Values));
            var cp = new XElement("ConvergenceParameters", new XElement("Type", rc.ConvergenceParameters.GetType().FullName));
            Members.Write(cp, rc.ConvergenceParameters);
            el.Add(cp, new XElement("ConvergenceHistory", new XElement("Type", rc.ConvergenceHistory.GetType().FullName)));
            var w = rc.WegsteinParameters;
            el.Add(new XElement("WegPars", new XAttribute("AccelDelay", w.AccelDelay), new XAttribute("AccelFreq", w.AccelFreq),
                                new XAttribute("Qmax", XmlValues.Double(w.Qmax)), new XAttribute("Qmin", XmlValues.Double(w.Qmin))));
        }

        // Eight phases, each with one entry per compound in the flowsheet's order.
        private static XElement Phases(MaterialStream ms)
        {
            var phases = new XElement("Phases");
            foreach (var kv in ms.Phases)
            {
                var ph = kv.Value;
                var compounds = new XElement("Compounds");
                foreach (var c in ph.Compounds.Values)
                {
                    var ce = new XElement("Compound", new XElement("Type", CompoundType),
                        new XElement("ComponentDescription", ""), new XElement("ComponentName", c.Name));
                    Members.Write(ce, c);
                    compounds.Add(ce);
                }
                var props = new XElement("Properties", new XElement("Type", PhasePropertiesType));
                Members.Write(props, ph.Properties);
                phases.Add(new XElement("Phase",
                    new XElement("ID", kv.Key.ToString(System.Globalization.CultureInfo.InvariantCulture)),
                    compounds,
                    new XElement("ComponentDescription", ""),
                    new XElement("ComponentName", ph.Name),
                    new XElement("Name", ph.Name),
                    props));
            }
            return phases;
        }

        private static bool IsEnergyStream(IGraphicObject g)
        {
            return g != null && (g.IsEnergyStream || g.ObjectType == ObjectType.EnergyStream);
        }

        // Port numbers from the ports themselves, whatever indices the connector recorded.
        private static int SourceIndex(IConnectorGraphicObject con)
        {
            var from = con.AttachedFrom;
            for (int k = 0; k < from.OutputConnectors.Count; k++)
                if (from.OutputConnectors[k].AttachedConnector == con) return k;
            if (from.EnergyConnector != null && from.EnergyConnector.AttachedConnector == con) return -1;
            return con.AttachedFromConnectorIndex;
        }

        private static int TargetIndex(IConnectorGraphicObject con)
        {
            var to = con.AttachedTo;
            for (int j = 0; j < to.InputConnectors.Count; j++)
                if (to.InputConnectors[j].AttachedConnector == con) return j;
            return con.AttachedToConnectorIndex;
        }

        private static XElement Free() { return new XElement("Connector", new XAttribute("IsAttached", "false")); }

        private static XElement Graphic(IGraphicObject g)
        {
            var el = new XElement("GraphicObject", new XElement("Type", g.GetType().FullName));
            Members.Write(el, g);
            el.Add(new XElement("IsConnector", "false"));

            var inputs = new XElement("InputConnectors");
            foreach (var cp in g.InputConnectors)
            {
                if (!cp.IsAttached) { inputs.Add(Free()); continue; }
                var con = cp.AttachedConnector;
                inputs.Add(new XElement("Connector",
                    new XAttribute("IsAttached", "true"),
                    new XAttribute("ConnType", cp.Type.ToString()),
                    new XAttribute("AttachedFromObjID", con.AttachedFrom.Name),
                    new XAttribute("AttachedFromConnIndex", SourceIndex(con)),
                    new XAttribute("AttachedFromEnergyConn", XmlValues.BoolCapitalised(IsEnergyStream(con.AttachedFrom)))));
            }
            var outputs = new XElement("OutputConnectors");
            foreach (var cp in g.OutputConnectors)
            {
                if (!cp.IsAttached) { outputs.Add(Free()); continue; }
                var con = cp.AttachedConnector;
                outputs.Add(new XElement("Connector",
                    new XAttribute("IsAttached", "true"),
                    new XAttribute("ConnType", cp.Type.ToString()),
                    new XAttribute("AttachedToObjID", con.AttachedTo.Name),
                    new XAttribute("AttachedToConnIndex", TargetIndex(con)),
                    new XAttribute("AttachedToEnergyConn", XmlValues.BoolCapitalised(IsEnergyStream(con.AttachedTo)))));
            }
            // DWSIM puts the source attributes on the list element itself as well.
            var energy = new XElement("EnergyConnector");
            var ec = g.EnergyConnector;
            if (ec != null && ec.IsAttached)
            {
                var con = ec.AttachedConnector;
                energy.Add(new XAttribute("AttachedFromObjID", g.Name),
                           new XAttribute("AttachedFromConnIndex", -1),
                           new XAttribute("AttachedFromEnergyConn", "False"));
                energy.Add(new XElement("Connector",
                    new XAttribute("IsAttached", "true"),
                    new XAttribute("AttachedToObjID", con.AttachedTo.Name),
                    new XAttribute("AttachedToConnIndex", TargetIndex(con)),
                    new XAttribute("AttachedToEnergyConn", XmlValues.BoolCapitalised(IsEnergyStream(con.AttachedTo)))));
            }
            else energy.Add(Free());
            var special = new XElement("SpecialConnectors", g.SpecialConnectors.Select(cp => Free()));
            el.Add(inputs, outputs, energy, special);
            Merge(el, Origins.Element(g), Owned(g.GetType(), GraphicSpecials));
            return el;
        }

        private static XElement Package(IPropertyPackage ipp, HashSet<string> selected, HashSet<string> selectedCas)
        {
            var unmodelled = ipp as UnmodelledPropertyPackage;
            if (unmodelled != null && unmodelled.SourceElement != null)
            {
                var copy = new XElement(unmodelled.SourceElement);
                copy.SetElementValue("ID", unmodelled.UniqueID);
                copy.SetElementValue("Tag", unmodelled.Tag ?? "");
                return copy;
            }
            var pp = (PropertyPackage)ipp;
            var el = new XElement("PropertyPackage",
                new XElement("ID", pp.UniqueID),
                new XElement("Type", pp.GetType().FullName),
                new XElement("ComponentName", pp.ComponentName ?? ""),
                new XElement("ComponentDescription", pp.ComponentDescription ?? ""),
                new XElement("Tag", pp.Tag ?? ""));
            Members.Write(el, pp, new[] { "UniqueID", "ComponentName", "ComponentDescription", "Tag" });
            el.Add(InteractionParameters.Write(pp, selected, selectedCas));
            Merge(el, Origins.Element(pp), OwnedByPackage(pp));
            // Activity-coefficient packages also carry the vapour EOS pairs; DWSIM wants the list.
            if (InteractionParameters.NeedsVapourKij(pp) && el.Element("InteractionParameters_PR") == null)
                el.Add(new XElement("InteractionParameters_PR"));
            return el;
        }

        private static XElement Compound(ICompoundConstantProperties c, FileState state)
        {
            XElement kept;
            if (state != null && state.Compounds.TryGetValue(c.Name, out kept)) return new XElement(kept);
            var el = new XElement("Compound", new XElement("Type", ConstantsType));
            Members.Write(el, c);
            return el;
        }
    }
}
