// IncidentForms: the cursor over the view. Its arithmetic is relied upon by plug-ins and
// by the engine's walks, odd steps included (MoveNext from 0 lands on 2).
#include "incident/incident_forms.h"

namespace korad {

int32_t IncidentForms::CurrentPosition() {
  Guard("IncidentForms.CurrentPosition: ", [&] {
    if (Count() < 1) {
      m_currentPosition = 0;
    } else if (m_currentPosition == 0) {
      m_currentPosition = 1;
    }
  });
  return m_currentPosition;
}

IncidentFormRef IncidentForms::CurrentForm() {
  IncidentFormRef result;
  Guard("IncidentForms.CurrentForm: ", [&] {
    const int32_t count = Count();
    if (count == 0 || m_currentPosition == 0) return;
    if (m_currentPosition > count) m_currentPosition = count;
    result = Item(m_currentPosition);
  });
  return result;
}

void IncidentForms::MoveFirst() {
  Guard("IncidentForms.MoveFirst: ", [&] {
    if (Count() > 0) m_currentPosition = 1;
  });
}

void IncidentForms::MoveLast() {
  Guard("IncidentForms.MoveLast: ", [&] {
    if (Count() > 0) m_currentPosition = Count();
  });
}

void IncidentForms::MoveNext() {
  Guard("IncidentForms.MoveNext: ", [&] {
    const int32_t count = Count();
    if (count <= 0) return;
    if (m_currentPosition == 0) m_currentPosition = 1;
    if (m_currentPosition <= count) ++m_currentPosition;
  });
}

void IncidentForms::MovePrevious() {
  Guard("IncidentForms.MovePrevious: ", [&] {
    if (Count() <= 0) return;
    if (m_currentPosition == 0) m_currentPosition = 1;
    if (m_currentPosition > 1) --m_currentPosition;
  });
}

bool IncidentForms::OnFirstForm() {
  bool result = false;
  Guard("IncidentForms.OnFirstForm: ", [&] {
    if (Count() == 0) {
      m_currentPosition = 0;
      return;
    }
    result = m_currentPosition == 1;
  });
  return result;
}

bool IncidentForms::PastLastForm() {
  bool result = false;
  Guard("IncidentForms.PastLastForm: ", [&] { result = m_currentPosition > Count() || Count() == 0; });
  return result;
}

void IncidentForms::RemoveCurrentForm() {
  Guard("IncidentForms.RemoveCurrentForm: ", [&] {
    if (m_currentPosition >= 1 && m_currentPosition <= Count()) RemoveForm(Item(m_currentPosition));
  });
}

IncidentForms::FormList IncidentForms::NewEnum() {
  if (!m_isFilterEnabled) ResetFilter();
  return m_currentForms;
}

}  // namespace korad
