// Tags and per-class counts of a flowsheet's objects, so that adding an object costs the same
// in a flowsheet of thousands as in an empty one. Graphic objects report tag changes to it.
using System;
using System.Collections.Generic;
using DWSIM.Drawing.SkiaSharp.GraphicObjects;
using DWSIM.Interfaces;

namespace DWSIM.FlowsheetBase
{
    internal class TagIndex
    {
        private readonly Dictionary<string, int> _tags = new Dictionary<string, int>(StringComparer.Ordinal);
        private readonly Dictionary<Type, int> _classes = new Dictionary<Type, int>();
        private int _objects, _graphics;

        public TagIndex(Dictionary<string, ISimulationObject> objects, Dictionary<string, IGraphicObject> graphics)
        {
            foreach (var o in objects.Values) Count(o);
            foreach (var g in graphics.Values) Watch(g);
        }

        // Counts only: the dictionaries are public, and anything that went around AddObject
        // shows as a difference in size.
        public bool Matches(Dictionary<string, ISimulationObject> objects, Dictionary<string, IGraphicObject> graphics)
        {
            return objects.Count == _objects && graphics.Count == _graphics;
        }

        public bool Has(string tag)
        {
            int n;
            return tag != null && _tags.TryGetValue(tag, out n) && n > 0;
        }

        public int CountOf(Type t)
        {
            int n;
            return _classes.TryGetValue(t, out n) ? n : 0;
        }

        public void Added(ISimulationObject obj, IGraphicObject go)
        {
            Count(obj);
            Watch(go);
        }

        private void Count(ISimulationObject o)
        {
            var t = o.GetType();
            _classes[t] = CountOf(t) + 1;
            _objects++;
        }

        private void Watch(IGraphicObject g)
        {
            _graphics++;
            Take(g.Tag, 1);
            var go = g as GraphicObject;
            if (go != null) go.TagChanged = (old, now) => { Take(old, -1); Take(now, 1); };
        }

        private void Take(string tag, int delta)
        {
            if (tag == null) return;
            int n;
            _tags.TryGetValue(tag, out n);
            if (n + delta == 0) _tags.Remove(tag);
            else _tags[tag] = n + delta;
        }
    }
}
