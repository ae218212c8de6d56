// Simulation objects of the file: each under its modelled class, or an unmodelled stand-in
// that keeps the file's element; streams with their phases, splitter ratios, separator specs.
using System;
using System.Collections.Generic;
using System.Linq;
using System.Xml.Linq;
using DWSIM.Interfaces;
using DWSIM.SharedClasses.UnitOperations;
using DWSIM.Thermodynamics.Streams;
using DWSIM.UnitOperations.SpecialOps;
using DWSIM.UnitOperations.UnitOperations;
using DWSIM.UnitOperations.UnitOperations.Auxiliary;

namespace DWSIM.FlowsheetBase.Files
{
    internal partial class FlowsheetReader
    {
        private static Type ModelledType(string typeName)
        {
            if (typeName.Contains("Streams.MaterialStream")) return typeof(MaterialStream);
            foreach (var asm in new[] { typeof(Heater).Assembly, typeof(MaterialStream).Assembly })
            {
                var t = asm.GetType(typeName, false);
                if (t != null && !t.IsAbstract && typeof(BaseClass).IsAssignableFrom(t)) return t;
            }
            return null;
        }

        private static string ShortName(string typeName)
        {
            int i = typeName.LastIndexOf('.');
            return i < 0 ? typeName : typeName.Substring(i + 1);
        }

        private void ReadObjects(XElement section)
        {
            var used = new HashSet<string>();
            foreach (var o in section.Elements("SimulationObject"))
            {
                string type = Text(o, "Type"), name = Text(o, "Name");
                if (string.IsNullOrEmpty(type)) throw Error("a simulation object has no <Type>");
                if (string.IsNullOrEmpty(name)) throw Error("a simulation object of type " + type + " has no <Name>");
                if (_fs.SimulationObjects.ContainsKey(name)) throw Error("two simulation objects are named '" + name + "'");
                XElement g;
                if (!_graphicElements.TryGetValue(name, out g)) throw Error("simulation object '" + name + "' (" + ShortName(type) + ") has no graphic object of the same name");
                used.Add(name);
                string tag = Text(g, "Tag") ?? "";
                _tags[name] = tag;
                string context = "object '" + tag + "' (" + ShortName(type) + ")";

                var obj = CreateObject(o, type, name, context);
                var go = CreateGraphic(g, obj, name, context);
                obj.GraphicObject = go;
                _fs.SimulationObjects.Add(name, obj);
                _fs.GraphicObjects.Add(name, go);
                _graphics.Add(name, go);
            }
            foreach (var kv in _graphicElements.Where(kv => !used.Contains(kv.Key)))
            {
                _state.Drawings.Add(new XElement(kv.Value));
                _notes.Warn("graphic object '" + (Text(kv.Value, "Tag") ?? kv.Key) + "' (" + (Text(kv.Value, "ObjectType") ?? "?") +
                            ") has no simulation object: kept as a drawing and written back on save");
            }
        }

        private BaseClass CreateObject(XElement o, string type, string name, string context)
        {
            var t = ModelledType(type);
            BaseClass obj;
            if (t == null)
            {
                if (!RuntimeClasses.IsValidName(type)) throw Error(context + ": '" + type + "' is not a class name");
                var u = (UnmodelledUnitOperation)Activator.CreateInstance(RuntimeClasses.Get(type, typeof(UnmodelledUnitOperation)), name, Text(o, "ComponentDescription") ?? "");
                u.SourceElement = new XElement(o);
                _notes.Warn(context + ": " + type + " is not modelled by the stand-in; it was loaded with its tag, position and connections and cannot be calculated");
                obj = u;
            }
            else
            {
                obj = t.GetConstructor(new[] { typeof(string), typeof(string) }) != null
                    ? (BaseClass)Activator.CreateInstance(t, name, "")
                    : (BaseClass)Activator.CreateInstance(t);
            }
            obj.SetFlowsheet(_fs);
            var children = Members.Index(o.Elements());
            Members.Read(children, obj, Members.Readable(obj.GetType(), ObjectIdentity), context, _notes);
            obj.Name = name;

            string ppid = Text(o, "PropertyPackage");
            if (!string.IsNullOrEmpty(ppid))
            {
                IPropertyPackage pp;
                if (_fs.PropertyPackages.TryGetValue(ppid, out pp)) obj.PropertyPackage = pp;
                else _notes.Warn(context + ": its property package '" + ppid + "' is not in the file; the flowsheet's first package is used");
            }

            var ms = obj as MaterialStream;
            if (ms != null) ReadPhases(ms, o, context);
            var sp = obj as Splitter;
            if (sp != null) ReadRatios(sp, o, context);
            var cs = obj as ComponentSeparator;
            if (cs != null) ReadSeparationSpecs(cs, o, context);
            var rc = obj as Recycle;
            if (rc != null) ReadRecycle(rc, o, context);
            if (!(obj is UnmodelledUnitOperation))
                Origins.Remember(obj, Trimmed(o, FlowsheetWriter.Owned(obj.GetType(), FlowsheetWriter.ObjectSpecials)));
            return obj;
        }

        private void ReadPhases(MaterialStream ms, XElement o, string context)
        {
            ms.AddCompounds(_fs.SelectedCompounds.Values);
            var phases = o.Element("Phases");
            if (phases == null) throw Error(context + ": the material stream has no <Phases>");
            bool overall = false;
            foreach (var ph in phases.Elements("Phase"))
            {
                int id;
                if (!int.TryParse(Text(ph, "ID") ?? "", out id)) throw Error(context + ": a phase has no integer <ID>");
                IPhase phase;
                if (!ms.Phases.TryGetValue(id, out phase)) { _notes.Warn(context + ": phase " + id + " is not one of the stand-in's eight and was skipped"); continue; }
                string where = context + ", phase " + id;
                var listed = new HashSet<string>();
                // DWSIM writes text-only duplicates of Compounds and Properties; the data are in the
                // elements that have children.
                foreach (var ce in ph.Elements("Compounds").SelectMany(x => x.Elements("Compound")))
                {
                    string cname = Text(ce, "Name");
                    ICompound comp;
                    if (cname == null || !phase.Compounds.TryGetValue(cname, out comp))
                        throw Error(where + ": compound '" + cname + "' is not among the file's compounds");
                    if (!listed.Add(cname)) throw Error(where + ": compound '" + cname + "' is listed twice");
                    Members.Read(ce, comp, Members.Readable(comp.GetType(), new[] { "Name" }), where + ", compound '" + cname + "'", _notes);
                }
                if (id == 0)
                {
                    overall = true;
                    var missing = phase.Compounds.Keys.Where(k => !listed.Contains(k)).ToList();
                    if (missing.Count > 0) throw Error(where + ": the overall composition has no entry for " + string.Join(", ", missing));
                }
                var props = Members.Index(ph.Elements("Properties").Where(e => e.HasElements).SelectMany(e => e.Elements()));
                Members.Read(props, phase.Properties, Members.Readable(phase.Properties.GetType(), new string[0]), where, _notes);
            }
            if (!overall) throw Error(context + ": the material stream has no overall phase (ID 0)");
        }

        private double Number(string text, string what)
        {
            double v;
            if (!XmlValues.TryDouble(text, out v)) throw Error(what + " = '" + text + "' is not a number (invariant culture)");
            return v;
        }

        private void ReadRatios(Splitter sp, XElement o, string context)
        {
            List<double> ratios;
            var list = o.Element("SplitRatios");
            var text = Text(o, "Ratios");
            if (list != null)
                ratios = list.Elements("SplitRatio").Select(e => Number(e.Value, context + ": a split ratio")).ToList();
            else if (!string.IsNullOrEmpty(text))
            {
                ratios = text.Split(',').Select(s => Number(s, context + ": a split ratio")).ToList();
                _notes.Warn(context + ": no <SplitRatios> (DWSIM needs it); the ratios were read from <Ratios>");
            }
            else
            {
                _notes.Warn(context + ": no <SplitRatios> (DWSIM needs it); the stand-in's default ratios were kept");
                return;
            }
            sp.Ratios.Clear();
            foreach (var r in ratios) sp.Ratios.Add(r);
            while (sp.Ratios.Count < 3) sp.Ratios.Add(0.0);
        }

        // Missing parts keep the Recycle's defaults; the convergence history is not read.
        private void ReadRecycle(Recycle rc, XElement o, string context)
        {
            foreach (var d in new[] { Tuple.Create("Errors", rc.Errors), Tuple.Create("Values", rc.Values) })
            {
                var list = o.Element(d.Item1);
                if (list == null) continue;
                foreach (var item in list.Elements("Item"))
                {
                    string key = (string)item.Attribute("Key");
                    if (string.IsNullOrEmpty(key)) throw Error(context + ": an item of <" + d.Item1 + "> has no Key");
                    d.Item2[key] = Number((string)item.Attribute("Value") ?? "", context + ": " + d.Item1 + " '" + key + "'");
                }
            }
            var cp = o.Element("ConvergenceParameters");
            if (cp != null)
                Members.Read(cp, rc.ConvergenceParameters, Members.Readable(rc.ConvergenceParameters.GetType(), new string[0]), context + ", ConvergenceParameters", _notes);
            var w = o.Element("WegPars");
            if (w != null)
            {
                Func<string, double, double> attr = (name, dflt) =>
                    w.Attribute(name) == null ? dflt : Number(w.Attribute(name).Value, context + ": WegPars " + name);
                var p = rc.WegsteinParameters;
                p.AccelDelay = (int)attr("AccelDelay", p.AccelDelay);
                p.AccelFreq = (int)attr("AccelFreq", p.AccelFreq);
                p.Qmax = attr("Qmax", p.Qmax);
                p.Qmin = attr("Qmin", p.Qmin);
            }
        }

        private void ReadSeparationSpecs(ComponentSeparator cs, XElement o, string context)
        {
            var list = o.Element("SeparationSpecs");
            if (list == null) { _notes.Warn(context + ": no <SeparationSpecs> (DWSIM needs it); the separator has no specs"); return; }
            cs.ComponentSepSpecs.Clear();
            foreach (var s in list.Elements("SeparationSpec"))
            {
                string comp = (string)s.Attribute("CompID") ?? "", key = (string)s.Attribute("ID");
                if (string.IsNullOrEmpty(key)) key = comp;
                string kind = (string)s.Attribute("SepSpec") ?? "";
                object sepSpec;
                if (!Members.TryParse(kind, typeof(SeparationSpec), out sepSpec))
                    throw Error(context + ": separation spec of '" + comp + "' has SepSpec '" + kind + "' (expected " + string.Join(", ", Enum.GetNames(typeof(SeparationSpec))) + ")");
                double value = Number((string)s.Attribute("SpecValue") ?? "", context + ": SpecValue of '" + comp + "'");
                cs.ComponentSepSpecs[key] = new ComponentSeparationSpec(comp, (SeparationSpec)sepSpec, value, (string)s.Attribute("SpecUnit") ?? "");
            }
        }
    }
}
