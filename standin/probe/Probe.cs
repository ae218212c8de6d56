// The smallest assembly that shows the crossings the bridge relies on: an interface-typed
// return, an enum property, a nullable double and a System.Array parameter.
using System;

namespace Probe
{
    public enum Color { Red = 0, Green = 1, Blue = 5 }

    public interface IThing
    {
        string Name { get; }
        object GetAsObject();
    }

    public class Thing : IThing
    {
        public string Name { get { return "thing"; } }
        public Color Paint { get; set; }
        public double? Maybe { get; set; }

        public double Sum(Array values)
        {
            double s = 0;
            foreach (object o in values) s += (double)o;
            return s;
        }

        public object GetAsObject() { return this; }
    }

    public class Factory
    {
        public IThing Make() { return new Thing(); }
    }
}
