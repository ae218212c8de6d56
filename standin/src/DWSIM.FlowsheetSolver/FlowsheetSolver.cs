// Sequential-modular solver with DWSIM's calculation order: a backward walk from the end
// points that never passes through a Recycle, so a loop without one never ends and is
// refused. Loops closed by Recycle blocks are iterated by whole passes over the order until
// every Recycle reports convergence.
using System;
using System.Collections.Generic;
using System.Diagnostics;
using System.Linq;
using System.Reflection;
using DWSIM.GlobalSettings;
using DWSIM.Interfaces;
using DWSIM.Interfaces.Enums.GraphicObjects;
using DWSIM.SharedClasses.UnitOperations;
using DWSIM.UnitOperations.SpecialOps;

[assembly: AssemblyVersion("8.8.2.0")]

namespace DWSIM.FlowsheetSolver
{
    public static class FlowsheetSolver
    {
        public const string InfiniteLoop = "Infinite loop detected while obtaining flowsheet object calculation order. Please insert recycle blocks where needed.";
        public const string TimedOut = "The solver was unable to calculate the flowsheet within the specified timeout limit.";
        // More entries than this in the backward walk and the order is refused.
        public const int MaxEntries = 10000;

        private class StopSolving : Exception { }

        private static bool IsRecycle(IGraphicObject g)
        {
            return g.ObjectType == ObjectType.OT_Recycle || g.ObjectType == ObjectType.OT_EnergyRecycle;
        }

        private static bool IsEndPoint(ISimulationObject o)
        {
            var g = o.GraphicObject;
            if (g == null) return false;
            if (g.ObjectType == ObjectType.MaterialStream || g.ObjectType == ObjectType.EnergyStream)
                return g.OutputConnectors.Count == 0 || !g.OutputConnectors[0].IsAttached;
            if (IsRecycle(g)) return true;
            var b = o as BaseClass;
            return b != null && b.IsSource;
        }

        // Level 0 holds the end points in insertion order; level k+1 the objects feeding each
        // connected input port of level k, duplicates kept. Each object is then placed at its
        // deepest level: feeds and tear streams first, end points last.
        public static List<ISimulationObject> GetSolvingList(IFlowsheet fs)
        {
            var objects = fs.SimulationObjects;
            var levels = new List<List<ISimulationObject>>();
            var current = objects.Values.Where(IsEndPoint).ToList();
            int entries = current.Count;
            if (entries > MaxEntries) throw new Exception(InfiniteLoop);
            while (current.Count > 0)
            {
                levels.Add(current);
                var next = new List<ISimulationObject>();
                foreach (var o in current)
                    foreach (var cp in o.GraphicObject.InputConnectors)
                    {
                        if (!cp.IsAttached) continue;
                        var from = cp.AttachedConnector.AttachedFrom;
                        ISimulationObject up;
                        if (IsRecycle(from) || !objects.TryGetValue(from.Name, out up)) continue;
                        next.Add(up);
                        if (++entries > MaxEntries) throw new Exception(InfiniteLoop);
                    }
                current = next;
            }
            var seen = new HashSet<ISimulationObject>();
            var order = new List<ISimulationObject>();
            for (int k = levels.Count - 1; k >= 0; k--)
                foreach (var o in levels[k])
                    if (seen.Add(o)) order.Add(o);
            return order;
        }

        public static List<Exception> SolveFlowsheet(IFlowsheet fs)
        {
            var errors = new List<Exception>();
            if (fs.PropertyPackages.Count == 0 || fs.SelectedCompounds.Count == 0) return errors;
            List<ISimulationObject> order;
            try { order = GetSolvingList(fs); }
            catch (Exception ex) { return new List<Exception> { ex }; }
            if (order.Count == 0) return errors;

            var recycles = order.OfType<Recycle>().Where(r => r.GraphicObject.ObjectType == ObjectType.OT_Recycle).ToList();
            var timer = Stopwatch.StartNew();
            foreach (var o in order) o.Calculated = false;
            // No pass limit: a Recycle ends an endless loop with its own iteration limit, and
            // the solver timeout ends everything.
            while (true)
            {
                errors = new List<Exception>();
                try { foreach (var o in order) Calc(o, errors, timer); }
                catch (StopSolving) { }
                if (timer.Elapsed.TotalSeconds > Settings.SolverTimeoutSeconds)
                {
                    errors.Add(new OperationCanceledException(TimedOut));
                    return errors;
                }
                if (errors.Count > 0 && Settings.SolverBreakOnException) return errors;
                if (recycles.All(r => r.Converged)) return errors;
            }
        }

        private static string TagOf(ISimulationObject o)
        {
            return o.GraphicObject != null ? o.GraphicObject.Tag : o.Name;
        }

        private static void Calc(ISimulationObject o, List<Exception> errors, Stopwatch timer)
        {
            if (timer.Elapsed.TotalSeconds > Settings.SolverTimeoutSeconds) throw new StopSolving();
            try
            {
                o.Calculate();
                Inspector.Host.AddItem(TagOf(o), "calculated");
            }
            catch (Exception ex)
            {
                errors.Add(new Exception(TagOf(o) + ": " + ex.Message, ex));
                if (Settings.SolverBreakOnException) throw new StopSolving();
            }
        }
    }
}
