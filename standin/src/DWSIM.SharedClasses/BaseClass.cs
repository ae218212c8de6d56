// Common base of every simulation object (units and streams).
using System;
using System.Linq;
using System.Reflection;
using DWSIM.Interfaces;

[assembly: AssemblyVersion("8.8.2.0")]

namespace DWSIM.SharedClasses.UnitOperations
{
    public abstract class BaseClass : ISimulationObject
    {
        [NonSerialized] protected IFlowsheet FlowSheet;
        private IPropertyPackage _pp;

        protected BaseClass() { }

        protected BaseClass(string name, string description)
        {
            Name = name;
            ComponentDescription = description;
        }

        public string Name { get; set; }
        public string ComponentName { get { return Name; } set { Name = value; } }
        public string ComponentDescription { get; set; }
        public IGraphicObject GraphicObject { get; set; }
        public bool Calculated { get; set; }
        public string ErrorMessage { get; set; }

        // An object without its own package uses the flowsheet's first one, as DWSIM does.
        public virtual IPropertyPackage PropertyPackage
        {
            get
            {
                if (_pp != null) return _pp;
                if (FlowSheet == null || FlowSheet.PropertyPackages.Count == 0) return null;
                return FlowSheet.PropertyPackages.Values.First();
            }
            set { _pp = value; }
        }

        // Objects that produce something from nothing (DWSIM's clean-energy units) are end
        // points of the calculation order, like product streams.
        public virtual bool IsSource { get { return false; } }

        public abstract void Calculate(object args = null);

        public void Solve() { Calculate(); }

        public void SetFlowsheet(IFlowsheet flowsheet) { FlowSheet = flowsheet; }

        public IFlowsheet GetFlowsheet() { return FlowSheet; }

        public object GetAsObject() { return this; }

        // Tag lives on the graphic object; handy for messages.
        public string TagOrName
        {
            get { return GraphicObject != null ? GraphicObject.Tag : Name; }
        }

        public override string ToString() { return TagOrName; }
    }
}
