// Sequential-modular solver. What gets calculated follows DWSIM: everything reachable
// backwards from an end point (a stream whose outlet is not connected). Loops are found as
// strongly connected components and solved by successive substitution on tear streams.
using System;
using System.Collections.Generic;
using System.Diagnostics;
using System.Linq;
using System.Reflection;
using DWSIM.GlobalSettings;
using DWSIM.Interfaces;
using DWSIM.Interfaces.Enums.GraphicObjects;
using DWSIM.Thermodynamics.Streams;
using DWSIM.UnitOperations.Streams;

[assembly: AssemblyVersion("8.8.2.0")]

namespace DWSIM.FlowsheetSolver
{
    public static class FlowsheetSolver
    {
        private class StopSolving : Exception { }

        public static List<Exception> SolveFlowsheet(IFlowsheet fs)
        {
            var errors = new List<Exception>();
            if (fs.PropertyPackages.Count == 0 || fs.SelectedCompounds.Count == 0) return errors;
            var timer = Stopwatch.StartNew();
            var graph = new Graph(fs);
            var order = graph.SolvingOrder();
            foreach (var group in order) foreach (var o in group) o.Calculated = false;
            try
            {
                foreach (var group in order)
                {
                    if (group.Count == 1 && !graph.HasSelfLoop(group[0])) Calc(group[0], errors, timer);
                    else SolveLoop(graph, group, errors, timer);
                }
            }
            catch (StopSolving) { }
            return errors;
        }

        private static string TagOf(ISimulationObject o)
        {
            return o.GraphicObject != null ? o.GraphicObject.Tag : o.Name;
        }

        private static void Fail(ISimulationObject o, Exception ex, List<Exception> errors)
        {
            errors.Add(new Exception(TagOf(o) + ": " + ex.Message, ex));
            if (Settings.SolverBreakOnException) throw new StopSolving();
        }

        private static void Calc(ISimulationObject o, List<Exception> errors, Stopwatch timer)
        {
            if (timer.Elapsed.TotalSeconds > Settings.SolverTimeoutSeconds)
            {
                errors.Add(new TimeoutException("Solver timeout: calculation aborted after " + Settings.SolverTimeoutSeconds + " s."));
                throw new StopSolving();
            }
            try
            {
                o.Calculate();
                Inspector.Host.AddItem(TagOf(o), "calculated");
            }
            catch (Exception ex) { Fail(o, ex, errors); }
        }

        private static void SolveLoop(Graph g, List<ISimulationObject> group, List<Exception> errors, Stopwatch timer)
        {
            var tears = g.TearStreams(group);
            foreach (var t in tears.OfType<MaterialStream>())
            {
                try { InitialiseTear(t); }
                catch (Exception ex) { Fail(t, new Exception("cannot initialise recycle stream: " + ex.Message, ex), errors); return; }
            }
            int max = Settings.RecycleMaxIterations;
            List<double[]> prevIn = null, prevOut = null;
            for (int k = 0; k < max; k++)
            {
                var before = tears.Select(State).ToList();
                int n0 = errors.Count;
                foreach (var o in group) Calc(o, errors, timer);
                if (errors.Count > n0) return;
                var after = tears.Select(State).ToList();
                if (Enumerable.Range(0, tears.Count).All(i => Converged(before[i], after[i]))) return;
                if (Settings.RecycleAcceleration && prevIn != null)
                    for (int i = 0; i < tears.Count; i++)
                    {
                        var ms = tears[i] as MaterialStream;
                        if (ms != null) Wegstein(ms, prevIn[i], prevOut[i], before[i], after[i]);
                    }
                prevIn = before; prevOut = after;
            }
            Fail(tears[0], new Exception("Recycle did not converge in " + max + " iterations."), errors);
        }

        // Component flows x -> q x + (1 - q) g with q = s / (s - 1), s the secant slope of g,
        // bounded to [-5, 0] (q = 0 is plain substitution). T and P are taken as calculated.
        private static void Wegstein(MaterialStream s, double[] xPrev, double[] gPrev, double[] x, double[] g)
        {
            int n = x.Length - 2;
            var f = new double[n];
            for (int i = 0; i < n; i++)
            {
                double dx = x[i] - xPrev[i], q = 0;
                if (Math.Abs(dx) > 1e-300)
                {
                    double slope = (g[i] - gPrev[i]) / dx;
                    q = Math.Abs(slope - 1) > 1e-12 ? Math.Min(0, Math.Max(-5, slope / (slope - 1))) : 0;
                }
                f[i] = Math.Max(0, q * x[i] + (1 - q) * g[i]);
            }
            double F = f.Sum();
            if (F <= 0) return;
            s.StoreResult(s.PropertyPackage.FlashPT(s.ComponentData, f.Select(v => v / F).ToArray(), s.GetTemperature(), s.GetPressure()), F);
        }

        // A loop stream that was never calculated starts empty, at its own T and P; one that
        // was starts from its last result.
        private static void InitialiseTear(MaterialStream s)
        {
            if (s.LastResult != null) { s.StoreResult(s.LastResult, s.GetMolarFlow()); return; }
            var c = s.ComponentData;
            var z = s.GetOverallComposition().Select((v, i) => c[i].HasPropertyData ? Math.Max(0, v) : 0).ToArray();
            double sum = z.Sum();
            if (sum <= 0)
            {
                int n = c.Count(x => x.HasPropertyData);
                if (n == 0) throw new InvalidOperationException("no compound has property data");
                z = c.Select(x => x.HasPropertyData ? 1.0 / n : 0).ToArray();
            }
            else z = z.Select(v => v / sum).ToArray();
            var pp = s.PropertyPackage;
            s.StoreResult(pp.FlashPT(c, z, s.GetTemperature(), s.GetPressure()), 0.0);
        }

        private static double[] State(ISimulationObject o)
        {
            var ms = o as MaterialStream;
            if (ms != null) return ms.ComponentMolarFlows().Concat(new[] { ms.GetTemperature(), ms.GetMolarFlow() }).ToArray();
            var es = o as EnergyStream;
            return new[] { es != null ? es.GetEnergyFlow() : 0.0 };
        }

        private static bool Converged(double[] a, double[] b)
        {
            if (a.Length == 1) return Math.Abs(a[0] - b[0]) <= Settings.RecycleTolerance * Math.Max(1.0, Math.Abs(b[0]));
            int n = a.Length - 2;
            double scale = Math.Max(Math.Max(a[n + 1], b[n + 1]), 1e-12);
            for (int i = 0; i < n; i++) if (Math.Abs(a[i] - b[i]) > Settings.RecycleTolerance * scale) return false;
            return Math.Abs(a[n] - b[n]) <= Settings.RecycleTemperatureTolerance;
        }

        private class Graph
        {
            private readonly List<ISimulationObject> _nodes;
            private readonly Dictionary<ISimulationObject, List<ISimulationObject>> _pred = new Dictionary<ISimulationObject, List<ISimulationObject>>();
            private readonly Dictionary<ISimulationObject, List<ISimulationObject>> _succ = new Dictionary<ISimulationObject, List<ISimulationObject>>();

            public Graph(IFlowsheet fs)
            {
                _nodes = fs.SimulationObjects.Values.ToList();
                foreach (var n in _nodes) { _pred[n] = new List<ISimulationObject>(); _succ[n] = new List<ISimulationObject>(); }
                // Every connection ends on an input port of its target.
                foreach (var v in _nodes)
                    foreach (var cp in v.GraphicObject.InputConnectors)
                    {
                        ISimulationObject u;
                        if (!cp.IsAttached || !fs.SimulationObjects.TryGetValue(cp.AttachedConnector.AttachedFrom.Name, out u)) continue;
                        _pred[v].Add(u); _succ[u].Add(v);
                    }
            }

            private static bool IsStream(ISimulationObject o)
            {
                var t = o.GraphicObject.ObjectType;
                return t == ObjectType.MaterialStream || t == ObjectType.EnergyStream;
            }

            public bool HasSelfLoop(ISimulationObject o) { return _succ[o].Contains(o); }

            // Strongly connected components of the objects reachable backwards from an end
            // point, in calculation order.
            public List<List<ISimulationObject>> SolvingOrder()
            {
                var reach = new HashSet<ISimulationObject>();
                var stack = new Stack<ISimulationObject>(_nodes.Where(n => IsStream(n) && !n.GraphicObject.OutputConnectors[0].IsAttached));
                while (stack.Count > 0)
                {
                    var n = stack.Pop();
                    if (!reach.Add(n)) continue;
                    foreach (var p in _pred[n]) stack.Push(p);
                }
                var comps = new Tarjan(_nodes.Where(reach.Contains).ToList(), _succ, reach).Components;
                comps.Reverse();
                return comps;
            }

            // Depth-first order inside a loop, starting where material enters it; the streams on
            // edges that point backwards in that order are the tear streams. The group is
            // reordered in place into the calculation sequence. An energy stream feeding a unit
            // of the loop is no entry: starting there would tear the unit's material inlet,
            // which then holds only a guess.
            public List<ISimulationObject> TearStreams(List<ISimulationObject> group)
            {
                var inGroup = new HashSet<ISimulationObject>(group);
                var entries = group.Where(n => _pred[n].Any(p => !inGroup.Contains(p) && p is MaterialStream)).ToList();
                var starts = entries.Concat(group.Where(IsStream)).Concat(group);
                var seen = new HashSet<ISimulationObject>();
                var post = new List<ISimulationObject>();
                foreach (var s in starts) Visit(s, inGroup, seen, post);
                post.Reverse();
                var pos = new Dictionary<ISimulationObject, int>();
                for (int i = 0; i < post.Count; i++) pos[post[i]] = i;
                var tears = new List<ISimulationObject>();
                foreach (var u in post)
                    foreach (var v in _succ[u].Where(inGroup.Contains))
                        if (pos[v] <= pos[u])
                        {
                            var t = IsStream(u) ? u : v;
                            if (!tears.Contains(t)) tears.Add(t);
                        }
                group.Clear(); group.AddRange(post);
                return tears;
            }

            private void Visit(ISimulationObject n, HashSet<ISimulationObject> inGroup, HashSet<ISimulationObject> seen, List<ISimulationObject> post)
            {
                if (!seen.Add(n)) return;
                foreach (var s in _succ[n]) if (inGroup.Contains(s)) Visit(s, inGroup, seen, post);
                post.Add(n);
            }
        }

        private class Tarjan
        {
            public readonly List<List<ISimulationObject>> Components = new List<List<ISimulationObject>>();
            private readonly Dictionary<ISimulationObject, List<ISimulationObject>> _succ;
            private readonly HashSet<ISimulationObject> _scope;
            private readonly Dictionary<ISimulationObject, int> _index = new Dictionary<ISimulationObject, int>();
            private readonly Dictionary<ISimulationObject, int> _low = new Dictionary<ISimulationObject, int>();
            private readonly Stack<ISimulationObject> _stack = new Stack<ISimulationObject>();
            private readonly HashSet<ISimulationObject> _onStack = new HashSet<ISimulationObject>();
            private int _next;

            public Tarjan(List<ISimulationObject> nodes, Dictionary<ISimulationObject, List<ISimulationObject>> succ, HashSet<ISimulationObject> scope)
            {
                _succ = succ; _scope = scope;
                foreach (var n in nodes) if (!_index.ContainsKey(n)) Strong(n);
            }

            private void Strong(ISimulationObject v)
            {
                _index[v] = _low[v] = _next++;
                _stack.Push(v); _onStack.Add(v);
                foreach (var w in _succ[v])
                {
                    if (!_scope.Contains(w)) continue;
                    if (!_index.ContainsKey(w)) { Strong(w); _low[v] = Math.Min(_low[v], _low[w]); }
                    else if (_onStack.Contains(w)) _low[v] = Math.Min(_low[v], _index[w]);
                }
                if (_low[v] != _index[v]) return;
                var comp = new List<ISimulationObject>();
                ISimulationObject x;
                do { x = _stack.Pop(); _onStack.Remove(x); comp.Add(x); } while (x != v);
                Components.Add(comp);
            }
        }
    }
}
